#pragma once

#include <cstdint>

// The generators' shared seed. Process-wide and unguarded: sampling runs must
// not overlap.
namespace engine_random {

long long Seed();
void SetSeed(long long value);
// The samplers' seeding: the low 15 bits of (time XOR clock) of the host clock.
void SeedFromHostClock();

// The samplers' generator as pure functions of its state, for a host that
// runs the one stream at several positions at once: RandLcg is LcgStep on the
// seed followed by LcgUniform of the new seed.
constexpr std::uint64_t kLcgMultiplier = 214013;
constexpr std::uint64_t kLcgIncrement = 2531011;

constexpr std::uint64_t LcgStep(std::uint64_t state) { return state * kLcgMultiplier + kLcgIncrement; }

// Only bits 16 to 30 of the state are used; 0 and 1 are nudged inwards so
// that a draw is never exactly either.
inline double LcgUniform(std::uint64_t state) {
    const auto x = static_cast<std::uint32_t>(state >> 16) & 0x7fffu;
    double u = static_cast<double>(x) * 3.051850947599719e-05;
    if (u == 0.0) {
        u = 0.0 + 1e-11;
    } else if (u == 1.0) {
        u = 1.0 + (-1e-11);
    }
    return u;
}

}  // namespace engine_random
