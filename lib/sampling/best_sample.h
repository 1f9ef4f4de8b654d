#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "lib/sampling/block_sampler.h"
#include "lib/sampling/sampling_plan.h"

class SampleNet;

namespace samplenet {

// The most probable of the samples drawn: every sample of positive weight is
// a complete assignment that agrees with the evidence, and the best of them
// is a candidate for the most probable explanation. Scores are natural logs
// of the network's joint probability of the assignment and the evidence.
class BestSample : public BlockObserver {
public:
    BestSample(const SampleNet& net, const SamplingPlan& plan);

    void observe(const std::uint16_t* states, std::size_t rowLength, int standing, const double* weights) override;
    // Keeps the other's sample where it scores higher (the earlier on ties).
    void merge(const BestSample& other);

    bool found() const { return !states_.empty(); }
    double logScore() const { return score_; }
    // Per node in the plan's order; empty when no sample had weight.
    const std::vector<int>& states() const { return states_; }

private:
    const SamplingPlan& plan;
    // Per node, at tableOffset(node): the log of each network entry of a
    // drawn node's table, or of the observed state's entry per column.
    std::vector<double> logTables;
    std::vector<std::size_t> tableOffsets;
    std::vector<double> scores;  // of the block's samples
    std::vector<std::uint32_t> column;
    double score_ = -std::numeric_limits<double>::infinity();
    std::vector<int> states_;
};

}  // namespace samplenet
