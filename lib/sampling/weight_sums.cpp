#include "lib/sampling/weight_sums.h"

#include <algorithm>
#include <cmath>

namespace samplenet {

void WeightSums::rescale(int newScale) {
    if (newScale == scale) return;
    const int shift = scale - newScale;
    for (double& sum : perState) sum = std::ldexp(sum, shift);
    total = std::ldexp(total, shift);
    scale = newScale;
}

void WeightSums::raiseLargestExponent(int exponent) {
    if (exponent <= largestExponent) return;
    const int shift = largestExponent == kNoWeight ? 0 : 2 * (largestExponent - exponent);
    for (double& sum : perStateSquares) sum = std::ldexp(sum, shift);
    totalSquares = std::ldexp(totalSquares, shift);
    largestExponent = exponent;
}

void WeightSums::admit(int exponent) {
    // Within this binary exponent of 1 the largest weight needs no scale.
    constexpr int kUnscaledRange = 1000;
    raiseLargestExponent(exponent);
    rescale(std::abs(largestExponent) <= kUnscaledRange ? 0 : largestExponent);
}

WeightSums::Counted WeightSums::count(double weight, int exponent) {
    ++drawn;
    ++positive;
    const int magnitude = exponent + std::ilogb(weight);
    if (magnitude < -1022 || magnitude > 1023) ++outsideDouble;
    admit(magnitude);
    const double scaled = std::ldexp(weight, exponent - scale);
    const double relative = std::ldexp(weight, exponent - largestExponent);
    const double squared = relative * relative;
    total += scaled;
    totalSquares += squared;
    return {scaled, squared};
}

void WeightSums::merge(const WeightSums& other) {
    const int common = std::max(scale, other.scale);
    rescale(common);
    const int shift = other.scale - common;
    for (std::size_t k = 0; k < perState.size(); ++k) perState[k] += std::ldexp(other.perState[k], shift);
    total += std::ldexp(other.total, shift);
    raiseLargestExponent(other.largestExponent);
    if (other.largestExponent != kNoWeight) {
        const int squareShift = 2 * (other.largestExponent - largestExponent);
        for (std::size_t k = 0; k < perStateSquares.size(); ++k)
            perStateSquares[k] += std::ldexp(other.perStateSquares[k], squareShift);
        totalSquares += std::ldexp(other.totalSquares, squareShift);
    }
    drawn += other.drawn;
    positive += other.positive;
    impossible += other.impossible;
    lostToRange += other.lostToRange;
    outsideDouble += other.outsideDouble;
}

}  // namespace samplenet
