#pragma once

#include <cstdint>

#include "engine/random_state.h"

namespace samplenet {

// Positions in the samplers' generator stream. The stream's outputs depend
// only on the low 31 bits of its state, so it repeats every 2^31 draws; a
// position can be reached from another without drawing what lies between.
namespace generator_stream {

constexpr std::uint64_t kPeriod = std::uint64_t{1} << 31;

// The step x -> multiplier * x + increment (mod 2^64), composed with itself.
struct Affine {
    std::uint64_t multiplier = 1;
    std::uint64_t increment = 0;

    constexpr std::uint64_t operator()(std::uint64_t state) const { return multiplier * state + increment; }
    // This step after `first`.
    constexpr Affine after(const Affine& first) const {
        return {multiplier * first.multiplier, multiplier * first.increment + increment};
    }
};

// The generator's step taken `steps` times, by repeated squaring.
constexpr Affine stepsOf(std::uint64_t steps) {
    Affine result;
    Affine power{engine_random::kLcgMultiplier, engine_random::kLcgIncrement};
    for (; steps != 0; steps >>= 1) {
        if (steps & 1) result = power.after(result);
        power = power.after(power);
    }
    return result;
}

inline std::uint64_t advance(std::uint64_t state, std::uint64_t steps) { return stepsOf(steps)(state); }

// How many of `drawn` samples, each taking `drawsPerSample` numbers from a
// share of `share` draws of the stream, come before the share is used up
// and numbers repeat. Samples that draw nothing never use it up.
constexpr long distinctSamples(long drawn, long drawsPerSample, std::uint64_t share) {
    if (drawsPerSample <= 0) return drawn;
    const std::uint64_t fit = share / static_cast<std::uint64_t>(drawsPerSample);
    return fit < static_cast<std::uint64_t>(drawn) ? static_cast<long>(fit) : drawn;
}

}  // namespace generator_stream
}  // namespace samplenet
