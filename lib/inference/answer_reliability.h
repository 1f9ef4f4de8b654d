#pragma once

#include <string>

#include "lib/inference/inference.h"

namespace samplenet {

// Whether an answer can be taken as printed. A sampled answer cannot when
// too few samples carried its weight for its own error estimates to hold
// (effective sample size below kReliableSampleSize), when its estimate of
// the probability of the evidence exceeds 1, or when it was asked for a
// target error and stopped short of it; `warning` says which, in
// words every output can show. Exact answers are reliable; LBP's accuracy
// is unknown and not judged here.
struct Reliability {
    bool reliable = true;
    std::string warning;  // empty when reliable
};

Reliability judgeReliability(const SamplingReport& sampling);
// Of any answer: reliable unless a sampled one is not.
Reliability judgeReliability(const InferenceResult& result);

}  // namespace samplenet
