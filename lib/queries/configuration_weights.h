#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "lib/sampling/block_sampler.h"

namespace samplenet {

// The weight that one job's samples give each distinct configuration of a
// few variables: a hash table of at most `capacity` configurations, made
// once, so that watching a sample allocates nothing. Configurations first
// seen once it is full are not kept; their weight counts as missed.
//
// Weights are kept at a common power-of-two scale, as the samplers' own
// sums are, so that runs whose weights fall far below double's range keep
// them.
class ConfigurationWeights : public BlockObserver {
public:
    // rows: the row of each variable in the blocks, in the key's order.
    ConfigurationWeights(std::vector<std::size_t> rows, std::size_t capacity);

    void observe(const std::uint16_t* states, std::size_t rowLength, int standing, const double* weights,
                 const int* exponents) override;
    // Adds another job's configurations (of the same rows).
    void merge(const ConfigurationWeights& other);

    struct Share {
        std::vector<int> states;  // in the rows' order
        double probability;       // its share of the total weight
        double standardError;     // of that share, as a ratio estimate
    };
    // The `count` heaviest configurations, heaviest first.
    std::vector<Share> heaviest(std::size_t count) const;
    std::size_t size() const { return filled; }
    // The share of the weight of configurations that found the table full.
    double missedShare() const { return total > 0.0 ? missed / total : 0.0; }

private:
    std::size_t slotOf(const std::uint16_t* key) const;
    // Adds ldexp(weight, exponent) to the configuration `key` (or to the
    // missed weight).
    void add(const std::uint16_t* key, double weight, int exponent);
    void rescale(int newScale);

    std::vector<std::size_t> rows;
    std::size_t width;
    std::size_t capacity;
    std::size_t mask;  // slots - 1; slots a power of two above twice the capacity
    std::vector<std::uint16_t> keys;
    std::vector<char> used;
    std::vector<double> sums;
    std::vector<double> squares;
    std::vector<std::size_t> order;  // filled slots, in the order first seen
    std::vector<std::uint16_t> key;  // the sample being added
    std::size_t filled = 0;
    double total = 0.0;
    double totalSquares = 0.0;
    double missed = 0.0;
    static constexpr int kNoScale = -100000;
    int scale = kNoScale;
};

}  // namespace samplenet
