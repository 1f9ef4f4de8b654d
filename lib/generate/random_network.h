#pragma once

#include <cstdint>

#include "lib/formats/read_limits.h"
#include "lib/model/network.h"

namespace samplenet {

// The shape of a random network. Node i takes its parents among the
// `locality` nodes created just before it, so creation order is topological
// and the tables stay local, as in networks built from layers or time slices.
struct RandomNetworkOptions {
    int nodes = 100;
    int minStates = 2;
    int maxStates = 4;
    // Every node after the first has between 1 and maxParents parents (fewer
    // when fewer nodes precede it), so the network is connected unless
    // maxParents is 0.
    int maxParents = 3;
    int locality = 200;
    // Share of table entries that are exactly zero; each column keeps one
    // positive entry, so columns of few states hold fewer zeros than asked
    // when the share is high.
    double zeroShare = 0.0;
    // The same seed gives the same network with every compiler and library.
    std::uint64_t seed = 1;
};

// Nodes X0, X1, ... with states s0, s1, ...; columns of random positive
// values normalised to sum to 1. Throws std::invalid_argument for options
// that make no sense, or when the largest network they allow would exceed
// `limits` (the message names the limit's command line option), before
// anything is allocated.
Network randomNetwork(const RandomNetworkOptions& options, const ReadLimits& limits = {});

}  // namespace samplenet
