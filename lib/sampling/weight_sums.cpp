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

void WeightSums::merge(const WeightSums& other) {
    const int common = std::max(scale, other.scale);
    rescale(common);
    const int shift = other.scale - common;
    for (std::size_t k = 0; k < perState.size(); ++k) perState[k] += std::ldexp(other.perState[k], shift);
    total += std::ldexp(other.total, shift);
    largestExponent = std::max(largestExponent, other.largestExponent);
    drawn += other.drawn;
    positive += other.positive;
    impossible += other.impossible;
    lostToRange += other.lostToRange;
    outsideDouble += other.outsideDouble;
}

}  // namespace samplenet
