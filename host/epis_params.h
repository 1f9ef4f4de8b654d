#pragma once

#include <cstddef>
#include <cstdint>

// Propagation parameters of one run. The layout is fixed (48 bytes, native
// order) because the record is shared verbatim with the engine.
struct EpisParams {
    std::int32_t propagationLength;
    std::int32_t stateCountLimit1;
    std::int32_t stateCountLimit2;
    std::int32_t stateCountLimit3;
    double epsilon1;
    double epsilon2;
    double epsilon3;
    double epsilon4;
};

static_assert(sizeof(EpisParams) == 48);
static_assert(offsetof(EpisParams, propagationLength) == 0);
static_assert(offsetof(EpisParams, stateCountLimit1) == 4);
static_assert(offsetof(EpisParams, stateCountLimit2) == 8);
static_assert(offsetof(EpisParams, stateCountLimit3) == 12);
static_assert(offsetof(EpisParams, epsilon1) == 16);
static_assert(offsetof(EpisParams, epsilon2) == 24);
static_assert(offsetof(EpisParams, epsilon3) == 32);
static_assert(offsetof(EpisParams, epsilon4) == 40);
