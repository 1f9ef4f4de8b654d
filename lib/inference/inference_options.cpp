#include "lib/inference/inference_options.h"

#include <limits>

namespace samplenet {

int sampleLimit(const InferenceOptions& options) {
    if (options.samples) return *options.samples;
    return options.targetError ? std::numeric_limits<int>::max() : kDefaultSamples;
}

bool drawsToTargetUncapped(const InferenceOptions& options) { return options.targetError && !options.samples; }

std::optional<double> timeBudget(const InferenceOptions& options) {
    if (options.maxSeconds || !drawsToTargetUncapped(options)) return options.maxSeconds;
    return kDefaultTargetSeconds;
}


}  // namespace samplenet
