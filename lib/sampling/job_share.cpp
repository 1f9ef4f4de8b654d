#include "lib/sampling/job_share.h"

#include "lib/sampling/block_sampler.h"

namespace samplenet {

void drawShare(const SamplingPlan& plan, Generator generator, JobShare& share, long samples) {
    CountedQuota quota(samples);
    BlockSampler sampler(plan, generator);
    share.state = sampler.draw(share.state, quota, share.sums);
}

}  // namespace samplenet
