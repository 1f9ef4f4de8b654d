#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "lib/sampling/generator_stream.h"
#include "lib/sampling/job_share.h"
#include "lib/sampling/sampling_plan.h"

namespace samplenet {

// A run's plan and generator, which is all another process needs to draw
// the run's shares.
struct PlanAndGenerator {
    SamplingPlan plan;
    Generator generator = Generator::Standard;
};

// Plans and shares as bytes for another process of this build (numbers in
// this machine's byte order). Decoding checks that every index of a plan
// stays within its tables and that a share's sums fit the plan, so bytes
// that were not made here are refused (std::invalid_argument) instead of
// sampled from.
std::string encodePlan(const SamplingPlan& plan, Generator generator);
PlanAndGenerator decodePlan(std::string_view bytes);
std::string encodeShare(const JobShare& share);
JobShare decodeShare(std::string_view bytes, std::size_t sumCount);

}  // namespace samplenet
