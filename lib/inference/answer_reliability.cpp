#include "lib/inference/answer_reliability.h"

#include <fmt/format.h>

#include <cmath>

namespace samplenet {

Reliability judgeReliability(const SamplingReport& sampling) {
    const ErrorEstimates& errors = sampling.errors;
    if (errors.effectiveSampleSize < kReliableSampleSize)
        return {false, fmt::format("unreliable: the samples are worth {:.1f} unweighted ones, below the {:.0f} "
                                   "that the error estimates need; the posteriors may be far off",
                                   errors.effectiveSampleSize, kReliableSampleSize)};
    // Weights are products of probabilities over proposal probabilities:
    // a mean above 1 is sampling error large enough to void the answer.
    if (errors.logMeanWeight > 0.0)
        return {false, fmt::format("unreliable: the samples put the probability of the evidence at {:.4g}, above 1",
                                   std::exp(errors.logMeanWeight))};
    if (sampling.targetMet == false)
        return {false, fmt::format("unreliable: the target error was not met; with 95% confidence every posterior "
                                   "is only within {:.2g}",
                                   errors.errorBound)};
    return {};
}

Reliability judgeReliability(const InferenceResult& result) {
    return result.sampling ? judgeReliability(*result.sampling) : Reliability{};
}

}  // namespace samplenet
