#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "lib/bucket/backtracking_draw.h"
#include "lib/sampling/block_sampler.h"
#include "lib/sampling/sampling_plan.h"
#include "lib/sampling/weight_sums.h"

namespace samplenet {

// Draws a host plan's samples one at a time, its drawn nodes in the plan's
// order from their importance tables, where the block sampler would let a
// sample run into a zero entry of an observed node's table and lose it.
//
// First, states that no assignment consistent with the model's zeros and
// the evidence can take are ruled out: a state of a node is dropped while
// some table over it (its own or a child's) has no positive entry with it
// whose other states are still in (arc consistency, to a fixed point). Then
// each node's draw keeps only the states still in with which its own table
// and the table of every observed node whose parents it completes are
// positive (the rest of the column renormalised), and backs up over dead
// ends with BacktrackingDraw (conflict-directed), so that every sample is
// consistent with the model's zeros. A sample weighs the product of the model's entries over the
// renormalised importance entries it was drawn with: without dead ends an
// exact importance weight; with them, the per-sample approximation of the
// backtrack-free proposal.
//
// `nodes` are the plan's host nodes (their tables outlive the sampler).
// Throws EvidenceError (impossible evidence) when an observed node whose
// parents are all observed has probability 0, or, while drawing, when no
// assignment is consistent with the evidence. Nothing is allocated per
// sample.
class BacktrackingPlanSampler : public PlanSampler, private BacktrackingDraw::Proposer {
public:
    BacktrackingPlanSampler(const SamplingPlan& plan, const std::vector<SamplingPlan::HostNode>& nodes);

    std::uint64_t draw(std::uint64_t state, SampleQuota& quota, WeightSums& sums,
                       BlockObserver* observer = nullptr) override;
    long backtracks() const override { return search.backtracks(); }

private:
    // An observed node whose table a drawn node's proposal reads: its
    // column without the drawn node, and the drawn node's stride in it.
    struct Check {
        std::uint32_t node;
        std::size_t stride;
    };

    double propose(std::uint32_t slot, double* q, std::vector<std::uint32_t>& culprits) override;
    std::size_t columnOf(std::uint32_t node, std::uint32_t skipped) const;
    // Adds a node's drawn parents but `skipped` to the culprits.
    void blameParents(std::uint32_t node, std::uint32_t skipped, std::vector<std::uint32_t>& culprits) const;
    // The weight of the sample the search ended with.
    void weigh();
    void flush(BlockObserver* observer);

    const SamplingPlan& plan;
    std::vector<const double*> probability;  // by plan node
    std::vector<const double*> importance;   // drawn nodes
    std::vector<std::size_t> firstCheck;     // into checks; one more entry than nodes
    std::vector<Check> checks;
    std::vector<std::size_t> firstState;     // by plan node, into numerator and possible
    std::vector<char> possible;              // per state: not ruled out by arc consistency
    std::vector<std::uint32_t> talliedNodes;
    double evidenceFactor = 1.0;             // observed nodes whose parents are all observed
    BacktrackingDraw search;
    std::vector<double> numerator;           // per state: the model's entries it meets
    double weight = 1.0;
    int exponent = 0;
    // The block of samples an observer is shown: per node a row of states.
    std::vector<std::uint16_t> block;
    std::vector<double> blockWeights;
    std::vector<int> blockExponents;
    int standing = 0;
};

}  // namespace samplenet
