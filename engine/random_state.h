#pragma once

// The generators' shared seed. Process-wide and unguarded: sampling runs must
// not overlap.
namespace engine_random {

long long Seed();
void SetSeed(long long value);
// The samplers' seeding: the low 15 bits of (time XOR clock) of the host clock.
void SeedFromHostClock();

}  // namespace engine_random
