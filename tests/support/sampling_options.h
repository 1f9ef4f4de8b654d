#pragma once

#include "lib/inference/inference.h"

namespace testing_support {

// A sampling run's options: the algorithm, how many samples, and a fixed
// seed so that a test sees the same draws every time.
inline samplenet::InferenceOptions samplingOptions(samplenet::Algorithm algorithm, int samples, long seed) {
    samplenet::InferenceOptions options;
    options.algorithm = algorithm;
    options.samples = samples;
    options.seed = seed;
    return options;
}

}  // namespace testing_support
