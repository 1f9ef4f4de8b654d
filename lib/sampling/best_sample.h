#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "lib/sampling/block_sampler.h"
#include "lib/sampling/sampling_plan.h"

class SampleNet;

namespace samplenet {

// A complete assignment and the natural log of the network's joint
// probability of it and the evidence.
struct ScoredSample {
    std::vector<int> states;  // per node in the plan's (the engine's) order
    double logScore;
};

// The most probable of the samples drawn, a few of them, all different:
// every sample of positive weight is a complete assignment that agrees with
// the evidence, and the best of them are candidates for the most probable
// explanation.
class BestSamples : public BlockObserver {
public:
    BestSamples(const SampleNet& net, const SamplingPlan& plan, std::size_t kept);

    void observe(const std::uint16_t* states, std::size_t rowLength, int standing, const double* weights,
                 const int* exponents) override;
    // Adds the other's samples; among equal scores the earlier stays first.
    void merge(const BestSamples& other);

    // Best first.
    const std::vector<ScoredSample>& samples() const { return best; }

private:
    const SamplingPlan& plan;
    // Per node, at tableOffset(node): the log of each network entry of a
    // drawn node's table, or of the observed state's entry per column.
    std::vector<double> logTables;
    std::vector<std::size_t> tableOffsets;
    std::size_t kept;
    std::vector<double> scores;  // of the block's samples
    std::vector<std::uint32_t> column;
    std::vector<ScoredSample> best;
    void offer(ScoredSample candidate);
    double threshold() const {
        return best.size() < kept ? -std::numeric_limits<double>::infinity() : best.back().logScore;
    }
};

}  // namespace samplenet
