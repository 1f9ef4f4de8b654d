#pragma once

#include <cstdint>
#include <vector>

#include "lib/sampling/generator_stream.h"
#include "lib/sampling/sampling_plan.h"
#include "lib/sampling/weight_sums.h"

namespace samplenet {

// A job's place in a run drawn in rounds: what its samples added up so far
// and the generator state its next sample starts from. Drawing more samples
// from it gives the same sums wherever it is done, so a job's rounds can be
// drawn in another process and its share sent back.
struct JobShare {
    WeightSums sums;
    std::uint64_t state = 0;
};

// The samples job k of `jobs` draws in a round of `samples`: an even share,
// one more for the first samples % jobs jobs.
constexpr long jobQuota(long samples, int jobs, int k) { return samples / jobs + (k < samples % jobs ? 1 : 0); }

// Draws `samples` more samples of the share, as its job would.
void drawShare(const SamplingPlan& plan, Generator generator, JobShare& share, long samples);

// Draws the jobs' rounds of a run somewhere other than this process's
// threads. Share k of a round must come back as drawShare would leave it.
class ShareDrawer {
public:
    virtual ~ShareDrawer() = default;
    // Once per run, before its first round.
    virtual void start(const SamplingPlan& plan, Generator generator) = 0;
    // Draws samples[k] more samples of shares[k], for every k; returns the
    // shares after.
    virtual std::vector<JobShare> drawRound(const std::vector<JobShare>& shares, const std::vector<long>& samples) = 0;
};

}  // namespace samplenet
