#pragma once

#include <cstddef>
#include <limits>

namespace samplenet {

// Table sizes of hopeless cliques overflow std::size_t; saturating keeps them
// comparable and lets the memory check refuse them instead of wrapping round.
inline std::size_t saturatingMultiply(std::size_t a, std::size_t b) {
    std::size_t product;
    if (__builtin_mul_overflow(a, b, &product)) return std::numeric_limits<std::size_t>::max();
    return product;
}

inline std::size_t saturatingAdd(std::size_t a, std::size_t b) {
    std::size_t sum;
    if (__builtin_add_overflow(a, b, &sum)) return std::numeric_limits<std::size_t>::max();
    return sum;
}

}  // namespace samplenet
