#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "lib/bucket/backtracking_draw.h"
#include "lib/bucket/mini_bucket_schedule.h"
#include "lib/sampling/block_sampler.h"
#include "lib/sampling/weight_sums.h"

namespace samplenet {

// What a complete sample holds beyond the schedule's variables, by network
// variable: the observed states, the variables drawn forward from their own
// tables afterwards (those the evidence does not need: their tables are
// their exact conditionals, so they weigh 1), and where each tallied
// variable's states lie in the weight sums.
struct SampleLayout {
    struct Forward {
        int variable;
        const double* table;  // over its parents and itself, itself last
        std::uint32_t firstParent;  // into parents and parentStrides
        std::uint32_t parentCount;
        std::uint32_t stateCount;
    };
    struct Tally {
        int variable;
        std::size_t firstSum;
    };

    std::vector<int> networkOf;  // schedule variable -> network variable
    std::vector<int> observed;   // by network variable: its state, or -1
    std::vector<Forward> forward;  // parents before children
    std::vector<int> parents;
    std::vector<std::size_t> parentStrides;
    std::vector<Tally> tallies;
    std::size_t sumCount = 0;
};

// Draws weighted samples: the schedule's variables in reverse elimination
// order, each from the product of its bucket's functions at the states
// drawn so far (its mini-buckets' products mixed, when split), then the
// forward variables. A sample weighs the product of the model's tables
// over the product of the proposals it was drawn from.
//
// Dead ends (a variable whose every state has proposal 0) are searched
// around by BacktrackingDraw, blaming a dead end on the variables its
// bucket's functions read; a sample is weighed by the proposals as its own
// search left them, the per-sample approximation of the backtrack-free
// proposal.
//
// Weights are carried as a double and a binary exponent. Nothing is
// allocated per sample.
class BucketSampler : private BacktrackingDraw::Proposer {
public:
    BucketSampler(const MiniBucketSchedule& schedule, const SampleLayout& layout);

    // Draws from the wide generator's state `state` while the quota grants
    // samples, adding them into `sums`; returns the state after the last
    // draw. Throws EvidenceError (impossible evidence) when the search runs
    // out of states: no assignment is consistent with the evidence. A
    // search stopped by the quota drops its sample.
    std::uint64_t draw(std::uint64_t state, SampleQuota& quota, WeightSums& sums);

    long backtracks() const { return search.backtracks(); }

private:
    // Fills the proposal of the variable at `position`; returns its total.
    double propose(std::uint32_t position, double* q, std::vector<std::uint32_t>& culprits) override;
    // Returns false when the quota stopped the search before it ended.
    bool drawModel(std::uint64_t& state, const SampleQuota& quota);
    void drawForward(std::uint64_t& state);
    void add(WeightSums& sums);

    const MiniBucketSchedule& schedule;
    const SampleLayout& layout;
    BacktrackingDraw search;       // over schedule positions, the last eliminated first
    std::vector<int> states;       // by network variable
    std::vector<double> numerator; // per state: the product of the bucket's model tables
    std::vector<double> product;   // one mini-bucket's product, per state
    std::vector<double> mixed;     // its powered and normalised product, per state
    double weight = 1.0;
    int exponent = 0;
};

}  // namespace samplenet
