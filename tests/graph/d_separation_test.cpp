#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "lib/formats/formats.h"
#include "lib/graph/d_separation.h"
#include "lib/graph/markov_blanket.h"
#include "tests/support/random_network.h"
#include "tests/support/tiny_network.h"

namespace {

using samplenet::Network;

const Network& asia() {
    static const Network network = samplenet::readNetwork(SAMPLENET_TEST_DATA "/networks/asia.bif.gz");
    return network;
}

std::vector<int> named(const Network& network, const std::vector<std::string>& names) {
    std::vector<int> variables;
    for (const std::string& name : names) variables.push_back(network.indexOf(name).value());
    return variables;
}

bool separated(const std::vector<std::string>& a, const std::vector<std::string>& b,
               const std::vector<std::string>& given) {
    return samplenet::dSeparated(asia(), named(asia(), a), named(asia(), b), named(asia(), given));
}

// The independent test: A and B are d-separated by C exactly when C
// separates them in the moral graph of the ancestors of A, B and C.
bool separatedInMoralAncestralGraph(const Network& network, const std::vector<int>& a, const std::vector<int>& b,
                                    const std::vector<int>& given) {
    const int n = network.size();
    std::vector<char> kept(n, 0);
    std::vector<int> stack = a;
    stack.insert(stack.end(), b.begin(), b.end());
    stack.insert(stack.end(), given.begin(), given.end());
    while (!stack.empty()) {
        const int v = stack.back();
        stack.pop_back();
        if (kept[v]) continue;
        kept[v] = 1;
        for (int p : network.variables[v].parents) stack.push_back(p);
    }
    std::vector<std::vector<char>> edge(n, std::vector<char>(n, 0));
    for (int v = 0; v < n; ++v) {
        if (!kept[v]) continue;
        const auto& parents = network.variables[v].parents;
        for (int p : parents) edge[v][p] = edge[p][v] = 1;
        for (int p : parents)
            for (int q : parents)
                if (p != q) edge[p][q] = 1;
    }
    std::vector<char> reached(n, 0);
    for (int v : given) kept[v] = 0;
    stack = a;
    while (!stack.empty()) {
        const int v = stack.back();
        stack.pop_back();
        if (reached[v]) continue;
        reached[v] = 1;
        for (int w = 0; w < n; ++w)
            if (edge[v][w] && kept[w]) stack.push_back(w);
    }
    return std::none_of(b.begin(), b.end(), [&](int v) { return reached[v]; });
}

// Cases checked by hand on asia: a chain, a fork and the collider at
// "either" (opened by its descendant dysp, closed again by lung); the
// random networks below check the rest against another method.
TEST(DSeparation, HandCheckedAsiaCases) {
    EXPECT_TRUE(separated({"tub"}, {"smoke"}, {}));
    EXPECT_FALSE(separated({"tub"}, {"smoke"}, {"dysp"}));
    EXPECT_TRUE(separated({"tub"}, {"smoke"}, {"either", "lung"}));
    EXPECT_TRUE(separated({"asia"}, {"xray"}, {"either"}));
    EXPECT_TRUE(separated({"lung"}, {"bronc"}, {"smoke"}));
    EXPECT_FALSE(separated({"lung"}, {"bronc"}, {"smoke", "dysp"}));
}

TEST(DSeparation, RefusesOverlappingOrEmptySets) {
    EXPECT_THROW(separated({"tub"}, {"tub"}, {}), std::invalid_argument);
    EXPECT_THROW(separated({"tub"}, {"smoke"}, {"tub"}), std::invalid_argument);
    EXPECT_THROW(separated({}, {"smoke"}, {}), std::invalid_argument);
    EXPECT_THROW(samplenet::dSeparated(asia(), {0}, {asia().size()}, {}), std::invalid_argument);
}

// On random graphs, with random disjoint sets, the reachability search
// agrees with the moral ancestral graph every time.
TEST(DSeparation, AgreesWithTheMoralAncestralGraphOnRandomNetworks) {
    std::mt19937 rng(29);
    int separatedCases = 0, connectedCases = 0;
    for (int round = 0; round < 300; ++round) {
        testing_support::RandomNetworkShape shape;
        shape.variables = 4 + static_cast<int>(rng() % 9);
        const Network network = testing_support::toNetwork(testing_support::randomNetwork(rng, shape));
        std::vector<int> role(network.size());  // 0 a, 1 b, 2 given, 3 none
        for (int& r : role) r = static_cast<int>(rng() % 4);
        role[0] = 0;
        role[1] = 1;
        std::vector<int> sets[3];
        for (int v = 0; v < network.size(); ++v)
            if (role[v] < 3) sets[role[v]].push_back(v);
        const bool expected = separatedInMoralAncestralGraph(network, sets[0], sets[1], sets[2]);
        ASSERT_EQ(samplenet::dSeparated(network, sets[0], sets[1], sets[2]), expected) << "round " << round;
        (expected ? separatedCases : connectedCases)++;
    }
    // Both answers occur, so the comparison says something.
    EXPECT_GT(separatedCases, 20);
    EXPECT_GT(connectedCases, 20);
}

TEST(MarkovBlanket, ParentsChildrenAndTheirOtherParents) {
    const auto blanket = [](const std::string& node) { return samplenet::markovBlanket(asia(), asia().indexOf(node).value()); };
    const auto sorted = [](std::vector<int> v) { std::sort(v.begin(), v.end()); return v; };
    EXPECT_EQ(blanket("either"), sorted(named(asia(), {"tub", "lung", "xray", "dysp", "bronc"})));
    EXPECT_EQ(blanket("asia"), named(asia(), {"tub"}));
    // Given its blanket a node is d-separated from every other node.
    for (int v = 0; v < asia().size(); ++v) {
        const auto mb = samplenet::markovBlanket(asia(), v);
        std::vector<int> rest;
        for (int w = 0; w < asia().size(); ++w)
            if (w != v && std::find(mb.begin(), mb.end(), w) == mb.end()) rest.push_back(w);
        if (!rest.empty()) {
            EXPECT_TRUE(samplenet::dSeparated(asia(), {v}, rest, mb)) << asia().variables[v].name;
        }
    }
}

}  // namespace
