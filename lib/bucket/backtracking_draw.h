#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "lib/sampling/block_sampler.h"

namespace samplenet {

// The wide generator's next uniform in [0, 1), advancing `state`.
double nextWideUniform(std::uint64_t& state);

// The first state whose running sum of weights reaches `target`, or the last
// state of positive weight when rounding leaves the target above the total.
int stateAtRunningSum(const double* weights, std::uint32_t count, double target);

// Multiplies a weight carried as ldexp(weight, exponent) by `factor`,
// keeping `weight` within [2^-600, 2^600]: one more factor cannot leave
// double's range.
inline void multiplyWeight(double& weight, int& exponent, double factor) {
    weight *= factor;
    if (weight < 0x1p-600) {
        weight *= 0x1p600;
        exponent -= 600;
    } else if (weight > 0x1p600) {
        weight *= 0x1p-600;
        exponent += 600;
    }
}

// Draws one assignment of variables ("slots") in a fixed order, each from
// a proposal that a caller fills given the states drawn before it. A slot
// whose every state has proposal 0 is a dead end: the draw backs up,
// excludes the state the slot it backs up to took, renormalises over the
// states left and draws again, as far back as needed (Gogate and Dechter,
// "SampleSearch: Importance sampling in presence of determinism", AIJ
// 2011). Either way of backing up keeps the search complete: every
// assignment it ends with has positive proposal throughout, and a dead end
// that blames no drawn slot proves that none exists.
//
// - Graph-based backjumping backs up to the latest drawn of the slots that
//   the dead ends of the sample so far read: a change to a slot drawn later
//   could not lift the dead end, and chronological backing up through
//   hundreds of such slots costs exponential time. The blamed set only
//   grows within a sample, a superset of what the dead ends depend on.
// - Conflict-directed backjumping (Prosser 1993) keeps a conflict set per
//   slot: the drawn slots whose states ruled out its states, as the
//   proposer names them, and those handed on by the dead ends it was backed
//   up to from. A dead end backs up to the latest slot of its own set and
//   hands the rest on to it. Where conflicts lie far apart (determinism all
//   over the network) it does not thrash between them as one growing set
//   does.
//
// Once a draw ends, each slot's proposal holds what its own search had not
// excluded when the slot took its final state, and its total that
// proposal's sum: weighing a sample by them gives the per-sample
// approximation of the backtrack-free proposal, which leaves out the dead
// ends no sample happened to meet. Nothing is allocated per draw once the
// conflict sets have grown to their sizes.
class BacktrackingDraw {
public:
    struct Slot {
        std::size_t firstState;  // into the per-state proposal
        std::uint32_t stateCount;
    };
    // Fills a slot's proposal (unnormalised, zero for excluded states)
    // from the states drawn so far; returns its total. With
    // conflict-directed backjumping it also adds to `culprits` the drawn
    // slots whose states ruled out the states it left at zero.
    class Proposer {
    public:
        virtual ~Proposer() = default;
        virtual double propose(std::uint32_t slot, double* proposal, std::vector<std::uint32_t>& culprits) = 0;
    };

    // Graph-based: `order` lists the slots drawn, first to last; `firstRead`
    // and `reads` give per slot the slots whose states its proposal reads.
    // Slots left out of `order` keep the states set with fix().
    BacktrackingDraw(std::vector<Slot> slots, std::vector<std::uint32_t> order, std::vector<std::uint32_t> firstRead,
                     std::vector<std::uint32_t> reads);
    // Conflict-directed.
    BacktrackingDraw(std::vector<Slot> slots, std::vector<std::uint32_t> order);

    void fix(std::uint32_t slot, int state) { values[slot] = state; }

    // Draws every slot of the order from the wide generator's state `state`.
    // Returns false when the quota stopped a long search (the sample is
    // then incomplete). Throws EvidenceError (impossible evidence) when the
    // search runs out of states.
    bool draw(std::uint64_t& state, const SampleQuota& quota, Proposer& proposer);

    int value(std::uint32_t slot) const { return values[slot]; }
    const double* proposalOf(std::uint32_t slot) const { return proposal.data() + slots[slot].firstState; }
    double totalOf(std::uint32_t slot) const { return total[slot]; }
    long backtracks() const { return backtracks_; }

private:
    void proposeAt(std::size_t step, Proposer& proposer);
    // The step a dead end at `step` backs up to, having blamed the dead end;
    // throws when there is none.
    std::size_t backUpFrom(std::size_t step);

    std::vector<Slot> slots;
    std::vector<std::uint32_t> order;
    std::vector<std::uint32_t> firstRead;
    std::vector<std::uint32_t> reads;
    bool conflictDirected;
    std::vector<int> values;
    std::vector<double> proposal;
    std::vector<double> total;
    std::vector<char> blamed;  // graph-based: per slot
    std::vector<std::vector<std::uint32_t>> conflicts;  // conflict-directed: per slot
    std::vector<std::uint32_t> stepOf;  // per slot: its place in the order
    std::vector<std::uint64_t> seen;    // per slot: the merge that last listed it
    std::uint64_t merges = 0;
    long backtracks_ = 0;
};

}  // namespace samplenet
