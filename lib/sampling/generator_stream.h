#pragma once

#include <cstdint>

#include "engine/random_state.h"

namespace samplenet {

// The streams the samplers draw from. Both step their state by an affine
// map, so a position can be reached from another without drawing what lies
// between.
//
// Standard is the engine's own generator: its outputs depend only on the low
// 31 bits of its state, so it repeats every 2^31 draws. Wide, for runs
// beyond that, counts its state up by an odd constant (period 2^64) and
// draws a 53-bit number from a mix of it.
enum class Generator { Standard, Wide };

namespace generator_stream {

constexpr std::uint64_t kPeriod = std::uint64_t{1} << 31;
constexpr std::uint64_t kWideIncrement = 0x9e3779b97f4a7c15;

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

constexpr Affine stepOf(Generator generator) {
    return generator == Generator::Standard ? Affine{engine_random::kLcgMultiplier, engine_random::kLcgIncrement}
                                            : Affine{1, kWideIncrement};
}

// The generator's step taken `steps` times, by repeated squaring.
constexpr Affine stepsOf(std::uint64_t steps, Generator generator = Generator::Standard) {
    Affine result;
    Affine power = stepOf(generator);
    for (; steps != 0; steps >>= 1) {
        if (steps & 1) result = power.after(result);
        power = power.after(power);
    }
    return result;
}

inline std::uint64_t advance(std::uint64_t state, std::uint64_t steps, Generator generator = Generator::Standard) {
    return stepsOf(steps, generator)(state);
}

// Draws before a stream repeats.
constexpr std::uint64_t periodOf(Generator generator) {
    return generator == Generator::Standard ? kPeriod : ~std::uint64_t{0};
}

// A well-mixed 64-bit function of the state: the wide generator's output
// before scaling, and how a small seed becomes a start far into its stream.
constexpr std::uint64_t mix(std::uint64_t z) {
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
    z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
    return z ^ (z >> 31);
}

// The wide generator's number for a state: in (0, 1), never either end.
inline double wideUniform(std::uint64_t state) {
    return (static_cast<double>(mix(state) >> 11) + 0.5) * 0x1p-53;
}

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
