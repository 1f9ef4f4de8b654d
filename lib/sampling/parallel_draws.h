#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "lib/sampling/block_sampler.h"
#include "lib/sampling/generator_stream.h"
#include "lib/sampling/sampling_plan.h"
#include "lib/sampling/weight_sums.h"

namespace samplenet {

// Jobs that draw on threads of their own, each from its own share of the
// generator's stream: job k starts k/jobs of the way round it from the run's
// start. Jobs keep their sums and their place in the stream from one round
// to the next, so a run can draw in rounds and look at its error between
// them; sums are merged in job order, so results depend on the start, the
// job count and the rounds only.
class ParallelDraws {
public:
    ParallelDraws(const SamplingPlan& plan, std::uint64_t start, Generator generator, int jobs);

    // Job k's blocks go to observers[k] from the next round on.
    void watch(const std::vector<BlockObserver*>& observers);

    // Draws `samples` more samples, shared among the jobs. `keepGoing` is
    // called every few milliseconds with the samples drawn in all rounds so
    // far; once it returns false the jobs stop, and so does this round.
    // Returns false when stopped.
    bool drawRound(long samples, const std::function<bool(long)>& keepGoing);

    WeightSums merged() const;
    // Samples drawn before any job's share of the stream ran out.
    long distinctSamples() const;

private:
    struct Job {
        BlockSampler sampler;
        WeightSums sums;
        std::uint64_t state;
        BlockObserver* observer = nullptr;
    };

    const SamplingPlan& plan;
    std::uint64_t share;
    std::vector<Job> jobs;
};

}  // namespace samplenet
