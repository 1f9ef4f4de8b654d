#pragma once

#include <random>
#include <vector>

#include "lib/exact/junction_tree.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"
#include "tests/support/brute_force.h"
#include "tests/support/tiny_net.h"

namespace exact_testing {

// Appends a variable named "v<index>" with states "s0", "s1", ...
int addVariable(samplenet::Network& network, int stateCount, std::vector<int> parents, std::vector<double> table);

// The shared chain, loopy and polytree networks as model networks.
samplenet::Network chain(int length);
samplenet::Network loopy();
samplenet::Network polytree();
// `variableCount` variables of 2..maxStates states and up to three parents
// each, listed in a shuffled (not topological) order.
samplenet::Network randomNetwork(unsigned seed, int variableCount, int maxStates);

// The same network with its variables listed so that new variable i is old
// variable order[i].
samplenet::Network permuted(const samplenet::Network& network, const std::vector<int>& order);

testing_support::ExactAnswer enumerate(const samplenet::Network& network, const samplenet::Evidence& evidence);

// Hard evidence on `hardCount` random variables and likelihood evidence on
// `likelihoodCount`, drawn from the same shuffle so that the two kinds meet
// on the same variables when both are asked for.
samplenet::Evidence randomEvidence(const samplenet::Network& network, std::mt19937& rng, int hardCount,
                                   int likelihoodCount);

// No evidence, hard, likelihood, both together, and both on one variable.
std::vector<samplenet::Evidence> evidenceCases(const samplenet::Network& network, unsigned seed);

// The posteriors of `queried` (all when it is empty) agree with the
// reference and the others are left out; the probability of the evidence
// agrees in log space.
void expectAnswers(const samplenet::ExactResult& result, const std::vector<std::vector<double>>& posteriors,
                   double logProbability, const std::vector<int>& queried = {});

}  // namespace exact_testing
