#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

#include "lib/exact/clique_tree.h"
#include "lib/exact/junction_tree.h"
#include "lib/exact/triangulation.h"
#include "tests/exact/exact_test_networks.h"

namespace {

using exact_testing::addVariable;
using samplenet::Network;

void expectSameStatistics(const samplenet::CliqueStatistics& a, const samplenet::CliqueStatistics& b) {
    EXPECT_EQ(a.cliqueCount, b.cliqueCount);
    EXPECT_EQ(a.largestCliqueVariables, b.largestCliqueVariables);
    EXPECT_EQ(a.largestCliqueEntries, b.largestCliqueEntries);
    EXPECT_EQ(a.totalEntries, b.totalEntries);
    EXPECT_EQ(a.estimatedBytes, b.estimatedBytes);
}

// A -> B, A -> C, B -> D, C -> D: marrying B and C leaves a chordal graph.
Network diamond(int statesOfA) {
    Network network;
    std::vector<double> prior(statesOfA, 1.0 / statesOfA);
    addVariable(network, statesOfA, {}, prior);
    std::vector<double> given(2 * statesOfA, 0.5);
    addVariable(network, 2, {0}, given);
    addVariable(network, 2, {0}, given);
    addVariable(network, 2, {1, 2}, std::vector<double>(8, 0.5));
    return network;
}

// Parents above and to the left: the moral graph is a grid with diagonals,
// whose cliques grow with the side.
Network grid(int side) {
    Network network;
    for (int r = 0; r < side; ++r)
        for (int c = 0; c < side; ++c) {
            std::vector<int> parents;
            if (r > 0) parents.push_back((r - 1) * side + c);
            if (c > 0) parents.push_back(r * side + c - 1);
            addVariable(network, 2, parents, std::vector<double>(std::size_t{2} << parents.size(), 0.5));
        }
    return network;
}

TEST(CliqueStructure, AChainsCliquesAreItsLinks) {
    const Network chain = exact_testing::chain(5);
    const auto stats = samplenet::estimateCliques(chain);
    EXPECT_EQ(stats.cliqueCount, 4);
    EXPECT_EQ(stats.largestCliqueVariables, 2);
    EXPECT_EQ(stats.largestCliqueEntries, 4u);
    EXPECT_EQ(stats.totalEntries, 16u);
    // Clique tables twice plus three two-entry separators.
    EXPECT_EQ(stats.estimatedBytes, sizeof(double) * (2 * 16 + 3 * 2));
    expectSameStatistics(samplenet::JunctionTree(chain).statistics(), stats);
}

TEST(CliqueStructure, TiesInFillAreBrokenBySmallerTables) {
    // A and D both add no fill; the one with the smaller table goes first.
    EXPECT_EQ(samplenet::maximalCliques(diamond(2)), (std::vector<std::vector<int>>{{0, 1, 2}, {1, 2, 3}}));
    EXPECT_EQ(samplenet::maximalCliques(diamond(3)), (std::vector<std::vector<int>>{{1, 2, 3}, {0, 1, 2}}));
    const auto stats = samplenet::estimateCliques(diamond(3));
    EXPECT_EQ(stats.largestCliqueEntries, 12u);
    EXPECT_EQ(stats.totalEntries, 20u);
}

TEST(CliqueStructure, CliquesFormAJunctionTreeOnLargerRandomNetworks) {
    for (unsigned seed = 1; seed <= 5; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const Network network = exact_testing::randomNetwork(seed, 60, 3);
        const auto tree = samplenet::joinCliques(samplenet::maximalCliques(network), network.size());
        const auto holds = [&](int c, int v) {
            return std::binary_search(tree.cliques[c].begin(), tree.cliques[c].end(), v);
        };
        const int count = static_cast<int>(tree.cliques.size());
        ASSERT_EQ(static_cast<int>(tree.order.size()), count);
        for (int a = 0; a < count; ++a) {
            for (int b = 0; b < count; ++b) {
                if (a == b) continue;
                EXPECT_FALSE(std::includes(tree.cliques[a].begin(), tree.cliques[a].end(), tree.cliques[b].begin(),
                                           tree.cliques[b].end()));
            }
        }
        for (int v = 0; v < network.size(); ++v) {
            // Connected: exactly one clique holding v has a parent that does not.
            int tops = 0;
            for (int c = 0; c < count; ++c) tops += holds(c, v) && (tree.parent[c] < 0 || !holds(tree.parent[c], v));
            EXPECT_EQ(tops, 1) << "variable " << v;
            std::vector<int> family = network.variables[v].parents;
            family.push_back(v);
            std::sort(family.begin(), family.end());
            EXPECT_TRUE(std::any_of(tree.cliques.begin(), tree.cliques.end(), [&](const auto& clique) {
                return std::includes(clique.begin(), clique.end(), family.begin(), family.end());
            }));
        }
    }
}

TEST(CliqueStructure, RefusesTablesAboveTheMemoryLimit) {
    try {
        samplenet::JunctionTree(exact_testing::chain(3), {.memoryLimitBytes = 100});
        ADD_FAILURE() << "no error";
    } catch (const samplenet::ExactMemoryError& error) {
        EXPECT_STREQ(error.what(),
                     "exact inference needs about 144 bytes of clique tables (largest clique: 2 variables), above the "
                     "limit of 100 bytes; use an approximate algorithm such as -a epis");
    }
    EXPECT_NO_THROW(samplenet::JunctionTree(exact_testing::chain(3), {.memoryLimitBytes = 144}));

    // Far beyond the default limit: refused before any table is allocated.
    const Network big = grid(40);
    const auto stats = samplenet::estimateCliques(big);
    EXPECT_GE(stats.largestCliqueVariables, 40);
    EXPECT_GT(stats.estimatedBytes, std::size_t{1} << 40);
    try {
        samplenet::JunctionTree tree(big);
        ADD_FAILURE() << "no error";
    } catch (const samplenet::ExactMemoryError& error) {
        const std::regex expected(
            "exact inference needs about [0-9.]+ (TiB|PiB|EiB) of clique tables \\(largest clique: [0-9]+ variables\\), "
            "above the limit of 4 GiB; use an approximate algorithm such as -a epis");
        EXPECT_TRUE(std::regex_match(error.what(), expected)) << error.what();
    }
}

}  // namespace
