#include "tests/exact/exact_test_networks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>

#include "tests/support/test_networks.h"
#include "tests/support/tiny_network.h"

namespace exact_testing {

using samplenet::Evidence;
using samplenet::Network;

int addVariable(Network& network, int stateCount, std::vector<int> parents, std::vector<double> table) {
    samplenet::Variable variable;
    variable.name = "v" + std::to_string(network.size());
    for (int s = 0; s < stateCount; ++s) variable.states.push_back("s" + std::to_string(s));
    variable.parents = std::move(parents);
    variable.table = std::move(table);
    network.variables.push_back(std::move(variable));
    network.reindex();
    return network.size() - 1;
}

Network chain(int length) { return testing_support::toNetwork(testing_support::chain(length)); }
Network loopy() { return testing_support::toNetwork(testing_support::threeLayerLoopy()); }
Network polytree() { return testing_support::toNetwork(testing_support::polytree()); }

Network randomNetwork(unsigned seed, int variableCount, int maxStates) {
    std::mt19937 rng(seed);
    // Fourth powers make skewed columns, as real tables tend to be.
    std::uniform_real_distribution<double> root(0.1, 1.0);
    const auto weight = [&](std::mt19937& g) { return std::pow(root(g), 4); };
    Network network;
    for (int v = 0; v < variableCount; ++v) {
        const int states = std::uniform_int_distribution<int>(2, maxStates)(rng);
        std::vector<int> earlier(v);
        std::iota(earlier.begin(), earlier.end(), 0);
        std::shuffle(earlier.begin(), earlier.end(), rng);
        earlier.resize(std::uniform_int_distribution<int>(0, std::min(v, 3))(rng));
        std::size_t columns = 1;
        for (int p : earlier) columns *= network.variables[p].states.size();
        std::vector<double> table;
        for (std::size_t q = 0; q < columns; ++q) {
            std::vector<double> column(states);
            for (double& x : column) x = weight(rng);
            const double sum = std::accumulate(column.begin(), column.end(), 0.0);
            for (double x : column) table.push_back(x / sum);
        }
        addVariable(network, states, earlier, table);
    }
    std::vector<int> order(variableCount);
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), rng);
    return permuted(network, order);
}

Network permuted(const Network& network, const std::vector<int>& order) {
    std::vector<int> newIndex(order.size());
    for (std::size_t i = 0; i < order.size(); ++i) newIndex[order[i]] = static_cast<int>(i);
    Network result;
    for (int old : order) {
        samplenet::Variable variable = network.variables[old];
        for (int& p : variable.parents) p = newIndex[p];
        result.variables.push_back(std::move(variable));
    }
    result.reindex();
    return result;
}

testing_support::ExactAnswer enumerate(const Network& network, const Evidence& evidence) {
    std::vector<int> hard(network.size(), -1);
    for (const auto& [v, state] : evidence.hard) hard[v] = state;
    std::vector<std::vector<double>> likelihood(network.size());
    for (const auto& [v, factors] : evidence.likelihood) likelihood[v] = factors;
    testing_support::TinyNet tiny;
    for (const auto& variable : network.variables) tiny.add(variable.stateCount(), variable.parents, variable.table);
    return testing_support::enumerate(tiny, hard, likelihood);
}

Evidence randomEvidence(const Network& network, std::mt19937& rng, int hardCount, int likelihoodCount) {
    std::vector<int> variables(network.size());
    std::iota(variables.begin(), variables.end(), 0);
    std::shuffle(variables.begin(), variables.end(), rng);
    std::uniform_real_distribution<double> factor(0.0, 3.0);
    Evidence evidence;
    for (int i = 0; i < hardCount; ++i) {
        const int v = variables[i];
        evidence.hard[v] = std::uniform_int_distribution<int>(0, network.variables[v].stateCount() - 1)(rng);
    }
    for (int i = 0; i < likelihoodCount; ++i) {
        const int v = variables[i];
        for (int s = 0; s < network.variables[v].stateCount(); ++s) evidence.likelihood[v].push_back(factor(rng));
    }
    return evidence;
}

std::vector<Evidence> evidenceCases(const Network& network, unsigned seed) {
    std::mt19937 rng(seed);
    return {{}, randomEvidence(network, rng, 3, 0), randomEvidence(network, rng, 0, 2), randomEvidence(network, rng, 2, 3)};
}

void expectAnswers(const samplenet::ExactResult& result, const std::vector<std::vector<double>>& posteriors,
                   double logProbability, const std::vector<int>& queried) {
    constexpr double tolerance = 1e-12;
    EXPECT_NEAR(result.logProbabilityOfEvidence, logProbability, tolerance * std::max(1.0, std::abs(logProbability)));
    ASSERT_EQ(result.posteriors.size(), posteriors.size());
    std::vector<char> asked(posteriors.size(), queried.empty());
    for (int v : queried) asked[v] = 1;
    for (std::size_t v = 0; v < posteriors.size(); ++v) {
        if (!asked[v]) {
            EXPECT_TRUE(result.posteriors[v].empty()) << "variable " << v << " was not queried";
            continue;
        }
        ASSERT_EQ(result.posteriors[v].size(), posteriors[v].size()) << "variable " << v;
        for (std::size_t s = 0; s < posteriors[v].size(); ++s)
            EXPECT_NEAR(result.posteriors[v][s], posteriors[v][s], tolerance) << "variable " << v << " state " << s;
    }
}

}  // namespace exact_testing
