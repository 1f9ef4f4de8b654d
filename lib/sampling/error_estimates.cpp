#include "lib/sampling/error_estimates.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "lib/util/worker_pool.h"

namespace samplenet {

namespace {

constexpr double kBoundConfidence = 0.95;

// Below this many entries the tails are added up on the calling thread:
// starting threads would cost more than it saves.
constexpr std::size_t kSharedTailEntries = 50000;

// The distance d at which the tails P(|error| > d) of the entries, normal
// with the given standard errors, add up to 1 - kBoundConfidence. The sum
// falls as d grows, so halving the interval finds it. The largest entry
// alone puts d at 1.96 of its error; 8 of it leaves each entry a tail of
// 1e-15, small enough for any number of entries. Entries below an eighth of
// the largest error have tails below 1e-50 there and are left out. On a
// large network the tails are most of the work after the samples: threads
// compute them side by side, but they are added in entry order, so the
// bound is the same with any number of threads.
double unionBound(const std::vector<const std::vector<double>*>& standardErrors, double largest, int threads) {
    if (largest <= 0.0) return 0.0;
    std::vector<double> counted;
    for (const std::vector<double>* group : standardErrors)
        for (double error : *group)
            if (error > largest / 8) counted.push_back(error);
    std::optional<WorkerPool> pool;
    if (threads > 1 && counted.size() >= kSharedTailEntries) pool.emplace(threads);
    const int pieces = pool ? 4 * threads : 1;
    std::vector<double> tail(counted.size());
    const auto tails = [&](double distance) {
        const auto piece = [&](int k) {
            const std::size_t end = counted.size() * static_cast<std::size_t>(k + 1) / static_cast<std::size_t>(pieces);
            for (std::size_t i = counted.size() * static_cast<std::size_t>(k) / static_cast<std::size_t>(pieces); i < end; ++i)
                tail[i] = std::erfc(distance / (counted[i] * std::sqrt(2.0)));
        };
        if (pool)
            pool->run(pieces, piece);
        else
            piece(0);
        double sum = 0.0;
        for (double t : tail) sum += t;
        return sum;
    };
    double low = 1.959 * largest;
    double high = 8.0 * largest;
    for (int step = 0; step < 40; ++step) {
        const double middle = (low + high) / 2;
        (tails(middle) > 1.0 - kBoundConfidence ? low : high) = middle;
    }
    return high;
}

// The least standard error of an entry whose state few samples reached,
// from its state's sum of weights and of squared weights (at the scale of
// the square of `total`). Its samples are worth sum^2 / squares effective
// ones; below kReliableStateSamples of them the spread of their weights
// tells little about the weights of those not drawn, so the entry is taken
// to be uncertain by the mass the missing samples would carry, each of the
// state's own typical weight (squares / sum). A state no sample reached
// has no weights of its own: by the rule of three its mass could be that
// of three samples of the run's typical weight, 1/ESS of the total. The
// 95% interval, 1.96 errors either side, spans that mass, or all of [0, 1].
double rareStateError(double sum, double squares, double total, double effective) {
    if (effective <= 0.0) return 0.0;
    constexpr double kRuleOfThree = 3.0;
    constexpr double kNormalQuantile = 1.959964;
    if (sum <= 0.0) return std::min(1.0, kRuleOfThree / effective) / kNormalQuantile;
    const double stateSamples = sum * sum / squares;
    if (stateSamples >= kReliableStateSamples) return 0.0;
    const double typicalMass = squares / (sum * total);
    return std::min(1.0, (kReliableStateSamples - stateSamples) * typicalMass) / kNormalQuantile;
}

}  // namespace

ErrorEstimates estimateErrors(const SamplingPlan& plan, const WeightSums& sums, int threads) {
    SumLayout layout{{}, plan.firstJointSum, plan.jointEntries};
    layout.nodes.reserve(plan.nodes.size());
    for (const SamplingPlan::Node& node : plan.nodes) layout.nodes.push_back({node.firstSum, node.stateCount, node.tallied});
    return estimateErrors(layout, sums, threads);
}

ErrorEstimates estimateErrors(const SumLayout& layout, const WeightSums& sums, int threads) {
    ErrorEstimates estimates;
    estimates.standardErrors.reserve(layout.nodes.size());
    const bool weighed = sums.total > 0.0;
    // Squares are kept relative to the largest weight, sums at their scale.
    const int squareShift = weighed ? 2 * (sums.largestExponent - sums.scale) : 0;
    const double effective = weighed ? std::ldexp(sums.total * sums.total / sums.totalSquares, -squareShift) : 0.0;
    // The errors of `count` entries that share their samples' weights.
    const auto errorsOf = [&](std::size_t first, std::size_t count) {
        std::vector<double> errors(count, 0.0);
        const double* sum = sums.perState.data() + first;
        const double* square = sums.perStateSquares.data() + first;
        double total = 0.0;
        for (std::size_t s = 0; s < count; ++s) total += sum[s];
        for (std::size_t s = 0; s < count; ++s) {
            const double p = sum[s] / total;
            const double spread = square[s] * (1.0 - 2.0 * p) + p * p * sums.totalSquares;
            const double delta = std::sqrt(std::max(0.0, std::ldexp(spread, squareShift)) / (total * total));
            errors[s] = std::max(delta, rareStateError(sum[s], std::ldexp(square[s], squareShift), total, effective));
            estimates.largestStandardError = std::max(estimates.largestStandardError, errors[s]);
        }
        return errors;
    };
    for (const SumLayout::Node& node : layout.nodes)
        estimates.standardErrors.push_back(node.tallied && weighed ? errorsOf(node.firstSum, node.stateCount)
                                                                   : std::vector<double>(node.stateCount, 0.0));
    if (layout.jointEntries > 0 && weighed)
        estimates.jointStandardErrors = errorsOf(layout.firstJointSum, layout.jointEntries);
    std::vector<const std::vector<double>*> entries;
    for (const auto& node : estimates.standardErrors) entries.push_back(&node);
    entries.push_back(&estimates.jointStandardErrors);
    // Below the reliable sample size the estimates bound nothing: the bound
    // is then the trivial one, as far as two probabilities can differ.
    estimates.errorBound = effective < kReliableSampleSize
                               ? 1.0
                               : std::min(1.0, unionBound(entries, estimates.largestStandardError, threads));
    const auto drawn = static_cast<double>(sums.drawn);
    if (!weighed || sums.drawn == 0) {
        estimates.logMeanWeight = -std::numeric_limits<double>::infinity();
        return estimates;
    }
    estimates.effectiveSampleSize = effective;
    estimates.logMeanWeight = std::log(sums.total) + sums.scale * std::log(2.0) - std::log(drawn);
    if (sums.drawn > 1)
        estimates.meanWeightRelativeError =
            std::sqrt(std::max(0.0, drawn / estimates.effectiveSampleSize - 1.0) / (drawn - 1.0));
    return estimates;
}

}  // namespace samplenet
