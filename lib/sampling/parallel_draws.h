#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "lib/sampling/block_sampler.h"
#include "lib/sampling/error_estimates.h"
#include "lib/sampling/generator_stream.h"
#include "lib/sampling/job_share.h"
#include "lib/sampling/sampling_plan.h"
#include "lib/sampling/weight_sums.h"

namespace samplenet {

// Draws `samples` samples shared among `jobs` threads: job k is granted its
// share (samples / jobs, one more for the first samples % jobs) through the
// quota it is given and draws them with `draw(k, quota)`. `keepGoing` is
// called every `pollInterval` on the calling thread with the samples drawn so
// far (`before` plus those of this call); once it returns false the jobs'
// quotas end, and an exception it throws leaves once the jobs have stopped,
// as does one a job throws. Returns false when stopped.
bool shareAmongJobs(int jobs, long samples, long before, const std::function<void(int, SampleQuota&)>& draw,
                    const std::function<bool(long)>& keepGoing, std::chrono::milliseconds pollInterval);

// Round after round, each twice the samples drawn before (the first 1,000),
// until the estimates put every posterior within `target` of the truth with
// 95% confidence and enough effective samples to trust that, or `cap`
// samples are drawn, or `drawRound(samples)` returns false (stopped).
// Returns whether the target was met.
bool drawToTarget(double target, long cap, const std::function<bool(long)>& drawRound,
                  const std::function<ErrorEstimates()>& estimate);

// Jobs that draw on threads of their own, each from its own share of the
// generator's stream: job k starts k/jobs of the way round it from the run's
// start. Jobs keep their sums and their place in the stream from one round
// to the next, so a run can draw in rounds and look at its error between
// them; sums are merged in job order, so results depend on the start, the
// job count and the rounds only.
//
// With a ShareDrawer the jobs' rounds are drawn by it instead, with the same
// results; the run is then looked at between rounds only.
class ParallelDraws {
public:
    // Makes a job's sampler of the plan; block samplers when not given.
    using SamplerMaker = std::function<std::unique_ptr<PlanSampler>()>;

    ParallelDraws(const SamplingPlan& plan, std::uint64_t start, Generator generator, int jobs,
                  const SamplerMaker& makeSampler = {}, ShareDrawer* elsewhere = nullptr);

    // Job k's blocks go to observers[k] from the next round on.
    void watch(const std::vector<BlockObserver*>& observers);

    // Draws `samples` more samples, shared among the jobs. `keepGoing` is
    // called every few milliseconds with the samples drawn in all rounds so
    // far; once it returns false the jobs stop, and so does this round; an
    // exception it throws leaves once the jobs have stopped. Returns false
    // when stopped.
    bool drawRound(long samples, const std::function<bool(long)>& keepGoing);

    WeightSums merged() const;
    // The same sums, made from the first job's instead of a copy of them: on
    // large networks a copy of the sums is tens of megabytes. Afterwards
    // only distinctSamples and backtracks may be asked.
    WeightSums takeMerged();
    // Samples drawn before any job's share of the stream ran out.
    long distinctSamples() const;
    long backtracks() const;

private:
    struct Job {
        JobShare share;
        BlockObserver* observer = nullptr;
    };

    bool drawRoundElsewhere(long samples, const std::function<bool(long)>& keepGoing);

    const SamplingPlan& plan;
    std::uint64_t share;
    ShareDrawer* elsewhere;
    std::vector<Job> jobs;
    // One per job when the jobs draw on this process's threads.
    std::vector<std::unique_ptr<PlanSampler>> samplers;
};

}  // namespace samplenet
