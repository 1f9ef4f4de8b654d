#pragma once

#include <random>
#include <vector>

#include "tests/support/tiny_net.h"

namespace testing_support {

struct RandomNetworkShape {
    int variables = 6;
    int maxParents = 3;
    int maxStates = 3;
    // Share of table entries set to zero (each column keeps one non-zero).
    double zeroShare = 0.2;
    // No undirected cycle: each variable is joined to one earlier variable,
    // as its parent or its child.
    bool polytree = false;
};

// A random network: variables are declared in a shuffled order, so that file
// order is not topological; tables have zeros and columns summing to 1.
TinyNet randomNetwork(std::mt19937& rng, const RandomNetworkShape& shape);

// Hard evidence (a state per variable, -1 for none) on about `share` of the
// variables, taken from one forward sample, so that it is possible.
std::vector<int> sampledEvidence(std::mt19937& rng, const TinyNet& net, double share);

}  // namespace testing_support
