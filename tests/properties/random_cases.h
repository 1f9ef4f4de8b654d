#pragma once

#include <random>
#include <vector>

#include "lib/model/evidence.h"
#include "lib/model/network.h"
#include "tests/support/brute_force.h"
#include "tests/support/random_network.h"
#include "tests/support/tiny_net.h"

namespace property_testing {

// A random network with possible evidence (hard, and likelihood on one
// unobserved variable when `withLikelihood`), and its posteriors by
// enumeration.
struct RandomCase {
    testing_support::TinyNet net;
    samplenet::Network network;
    samplenet::Evidence evidence;
    testing_support::ExactAnswer exact;
};

RandomCase randomCase(std::mt19937& rng, const testing_support::RandomNetworkShape& shape, bool withLikelihood);

// Largest absolute difference over every state of every variable.
double largestDifference(const std::vector<std::vector<double>>& a, const std::vector<std::vector<double>>& b);

}  // namespace property_testing
