#include "lib/sampling/error_estimates.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace samplenet {

ErrorEstimates estimateErrors(const SamplingPlan& plan, const WeightSums& sums) {
    ErrorEstimates estimates;
    estimates.standardErrors.reserve(plan.nodes.size());
    const bool weighed = sums.total > 0.0;
    // Squares are kept relative to the largest weight, sums at their scale.
    const int squareShift = weighed ? 2 * (sums.largestExponent - sums.scale) : 0;
    for (const SamplingPlan::Node& node : plan.nodes) {
        std::vector<double> errors(node.stateCount, 0.0);
        if (node.evidence < 0 && weighed) {
            const double* sum = sums.perState.data() + node.firstSum;
            const double* square = sums.perStateSquares.data() + node.firstSum;
            double total = 0.0;
            for (std::uint32_t s = 0; s < node.stateCount; ++s) total += sum[s];
            for (std::uint32_t s = 0; s < node.stateCount; ++s) {
                const double p = sum[s] / total;
                const double spread = square[s] * (1.0 - 2.0 * p) + p * p * sums.totalSquares;
                errors[s] = std::sqrt(std::max(0.0, std::ldexp(spread, squareShift)) / (total * total));
                estimates.largestStandardError = std::max(estimates.largestStandardError, errors[s]);
            }
        }
        estimates.standardErrors.push_back(std::move(errors));
    }
    const auto drawn = static_cast<double>(sums.drawn);
    if (!weighed || sums.drawn == 0) {
        estimates.logMeanWeight = -std::numeric_limits<double>::infinity();
        return estimates;
    }
    estimates.effectiveSampleSize = std::ldexp(sums.total * sums.total / sums.totalSquares, -squareShift);
    estimates.logMeanWeight = std::log(sums.total) + sums.scale * std::log(2.0) - std::log(drawn);
    if (sums.drawn > 1)
        estimates.meanWeightRelativeError =
            std::sqrt(std::max(0.0, drawn / estimates.effectiveSampleSize - 1.0) / (drawn - 1.0));
    return estimates;
}

}  // namespace samplenet
