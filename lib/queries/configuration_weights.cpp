#include "lib/queries/configuration_weights.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace samplenet {

namespace {

// A weight this many binary places above the scale moves the scale to it;
// weights that far below it are negligible beside the one that moved it.
constexpr int kRescaleDistance = 500;

}  // namespace

ConfigurationWeights::ConfigurationWeights(std::vector<std::size_t> rows, std::size_t capacity)
    : rows(std::move(rows)), width(this->rows.size()), capacity(std::max<std::size_t>(capacity, 1)) {
    std::size_t slots = 1;
    while (slots < 2 * this->capacity) slots *= 2;
    mask = slots - 1;
    keys.assign(slots * width, 0);
    used.assign(slots, 0);
    sums.assign(slots, 0.0);
    squares.assign(slots, 0.0);
    order.reserve(this->capacity);
    key.assign(width, 0);
}

std::size_t ConfigurationWeights::slotOf(const std::uint16_t* configuration) const {
    std::uint64_t hash = 1469598103934665603ULL;
    for (std::size_t r = 0; r < width; ++r) hash = (hash ^ configuration[r]) * 1099511628211ULL;
    std::size_t slot = static_cast<std::size_t>(hash ^ (hash >> 29)) & mask;
    while (used[slot] && std::memcmp(&keys[slot * width], configuration, width * sizeof(std::uint16_t)) != 0)
        slot = (slot + 1) & mask;
    return slot;
}

void ConfigurationWeights::rescale(int newScale) {
    if (scale != kNoScale) {
        const double factor = std::ldexp(1.0, scale - newScale);
        for (std::size_t slot : order) {
            sums[slot] *= factor;
            squares[slot] *= factor * factor;
        }
        total *= factor;
        missed *= factor;
        totalSquares *= factor * factor;
    }
    scale = newScale;
}

void ConfigurationWeights::add(const std::uint16_t* configuration, double weight, int exponent) {
    int binary = 0;
    std::frexp(weight, &binary);
    if (scale == kNoScale || binary + exponent - scale > kRescaleDistance) rescale(binary + exponent);
    const double scaled = std::ldexp(weight, exponent - scale);
    total += scaled;
    totalSquares += scaled * scaled;
    const std::size_t slot = slotOf(configuration);
    if (!used[slot]) {
        if (filled == capacity) {
            missed += scaled;
            return;
        }
        used[slot] = 1;
        std::memcpy(&keys[slot * width], configuration, width * sizeof(std::uint16_t));
        order.push_back(slot);
        ++filled;
    }
    sums[slot] += scaled;
    squares[slot] += scaled * scaled;
}

void ConfigurationWeights::observe(const std::uint16_t* states, std::size_t rowLength, int standing,
                                   const double* weights, const int* exponents) {
    for (int j = 0; j < standing; ++j) {
        if (!(weights[j] > 0.0)) continue;
        for (std::size_t r = 0; r < width; ++r) key[r] = states[rows[r] * rowLength + static_cast<std::size_t>(j)];
        add(key.data(), weights[j], exponents[j]);
    }
}

void ConfigurationWeights::merge(const ConfigurationWeights& other) {
    if (other.scale == kNoScale) return;
    // Each of the other's configurations, with its squares, at its scale.
    const auto addEntry = [this, &other](const std::uint16_t* configuration, double sum, double square) {
        add(configuration, sum, other.scale);
        // add() counted the sum as one sample: put its squares right.
        const double factor = std::ldexp(1.0, other.scale - scale);
        const double scaled = sum * factor;
        const double correction = square * factor * factor - scaled * scaled;
        totalSquares += correction;
        const std::size_t slot = slotOf(configuration);
        if (used[slot]) squares[slot] += correction;
    };
    for (std::size_t slot : other.order) addEntry(&other.keys[slot * width], other.sums[slot], other.squares[slot]);
    const double factor = std::ldexp(1.0, other.scale - scale);
    missed += other.missed * factor;
    total += other.missed * factor;
}

std::vector<ConfigurationWeights::Share> ConfigurationWeights::heaviest(std::size_t count) const {
    std::vector<std::size_t> slots = order;
    const std::size_t kept = std::min(count, slots.size());
    std::partial_sort(slots.begin(), slots.begin() + static_cast<std::ptrdiff_t>(kept), slots.end(),
                      [this](std::size_t a, std::size_t b) { return sums[a] > sums[b]; });
    std::vector<Share> shares;
    for (std::size_t k = 0; k < kept; ++k) {
        const std::size_t slot = slots[k];
        Share share;
        for (std::size_t r = 0; r < width; ++r) share.states.push_back(keys[slot * width + r]);
        const double p = sums[slot] / total;
        // The ratio estimate's variance: sum of w^2 (1[x] - p)^2 over W^2.
        const double variance = ((1.0 - 2.0 * p) * squares[slot] + p * p * totalSquares) / (total * total);
        share.probability = p;
        share.standardError = std::sqrt(std::max(0.0, variance));
        shares.push_back(std::move(share));
    }
    return shares;
}

}  // namespace samplenet
