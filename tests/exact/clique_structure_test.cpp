#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "lib/exact/clique_tree.h"
#include "lib/exact/factor_model.h"
#include "lib/exact/junction_tree.h"
#include "lib/exact/triangulation.h"
#include "lib/formats/formats.h"
#include "tests/exact/exact_test_networks.h"
#include "tests/support/error_message.h"

namespace {

using exact_testing::addVariable;
using samplenet::Network;

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

// Greedy elimination that rescores every variable at every step: the
// reference for the incremental bookkeeping of the triangulation.
std::vector<std::vector<int>> cliquesByFullRescoring(
    const Network& network, samplenet::EliminationCriterion criterion = samplenet::EliminationCriterion::MinFill) {
    const int n = network.size();
    std::vector<std::vector<bool>> adjacent(n, std::vector<bool>(n, false));
    const auto connect = [&](int a, int b) { adjacent[a][b] = adjacent[b][a] = a != b; };
    for (int v = 0; v < n; ++v)
        for (int p : network.variables[v].parents) {
            connect(v, p);
            for (int q : network.variables[v].parents) connect(p, q);
        }
    std::vector<bool> gone(n, false);
    const auto neighbours = [&](int v) {
        std::vector<int> result;
        for (int u = 0; u < n; ++u)
            if (!gone[u] && adjacent[v][u]) result.push_back(u);
        return result;
    };
    const auto states = [&](int v) { return network.variables[v].states.size(); };
    const bool weighted = criterion == samplenet::EliminationCriterion::WeightedMinFill;
    const auto cost = [&](int v) {
        const auto around = neighbours(v);
        std::size_t fill = 0, entries = states(v);
        for (std::size_t i = 0; i < around.size(); ++i) {
            entries *= states(around[i]);
            for (std::size_t j = i + 1; j < around.size(); ++j)
                if (!adjacent[around[i]][around[j]]) fill += weighted ? states(around[i]) * states(around[j]) : 1;
        }
        return criterion == samplenet::EliminationCriterion::MinWeight ? std::pair{entries, fill}
                                                                        : std::pair{fill, entries};
    };
    std::vector<std::vector<int>> cliques;
    for (int step = 0; step < n; ++step) {
        int chosen = -1;
        for (int v = 0; v < n; ++v)
            if (!gone[v] && (chosen < 0 || cost(v) < cost(chosen))) chosen = v;
        auto clique = neighbours(chosen);
        for (int a : clique)
            for (int b : clique) connect(a, b);
        clique.insert(std::upper_bound(clique.begin(), clique.end(), chosen), chosen);
        gone[chosen] = true;
        if (std::none_of(cliques.begin(), cliques.end(), [&](const auto& earlier) {
                return std::includes(earlier.begin(), earlier.end(), clique.begin(), clique.end());
            }))
            cliques.push_back(clique);
    }
    return cliques;
}

TEST(CliqueStructure, AChainsCliquesAreItsLinksAndTheirEstimateStopsAtTheLimit) {
    const Network chain = exact_testing::chain(5);
    const auto stats = samplenet::estimateCliques(chain);
    EXPECT_EQ(stats.cliqueCount, 4);
    EXPECT_EQ(stats.largestCliqueVariables, 2);
    EXPECT_EQ(stats.largestCliqueEntries, 4u);
    EXPECT_EQ(stats.totalEntries, 16u);
    // Clique tables twice, three two-entry separators and the buffer of one.
    EXPECT_EQ(stats.estimatedBytes, sizeof(double) * (2 * 16 + 3 * 2 + 2));
    EXPECT_EQ(samplenet::JunctionTree(chain).statistics(), stats);

    // Four cliques of 4 entries, held twice as doubles, are 256 bytes before
    // the separators: the estimate stops once the tables certainly exceed
    // the limit.
    const auto complete = samplenet::estimateCliques(chain, {.memoryLimitBytes = 256});
    EXPECT_FALSE(complete.exceedsLimit);
    EXPECT_EQ(complete.variablesEliminated, 5);
    EXPECT_GT(complete.estimatedBytes, complete.limitBytes);  // the separators come on top
    const auto stopped = samplenet::estimateCliques(chain, {.memoryLimitBytes = 255});
    EXPECT_TRUE(stopped.exceedsLimit);
    EXPECT_EQ(stopped.limitBytes, 255u);
    EXPECT_EQ(stopped.variablesEliminated, 4);
    EXPECT_EQ(stopped.cliqueCount, 4);
    EXPECT_EQ(stopped.estimatedBytes, 256u);  // the lower bound it stopped at
    // The first clique alone overruns a tiny limit.
    const auto first = samplenet::estimateCliques(chain, {.memoryLimitBytes = 63});
    EXPECT_TRUE(first.exceedsLimit);
    EXPECT_EQ(first.variablesEliminated, 1);
    EXPECT_EQ(first.cliqueCount, 1);
}

TEST(CliqueStructure, TiesInFillAreBrokenBySmallerTables) {
    // A and D both add no fill; the one with the smaller table goes first.
    EXPECT_EQ(samplenet::maximalCliques(diamond(2)), (std::vector<std::vector<int>>{{0, 1, 2}, {1, 2, 3}}));
    EXPECT_EQ(samplenet::maximalCliques(diamond(3)), (std::vector<std::vector<int>>{{1, 2, 3}, {0, 1, 2}}));
    const auto stats = samplenet::estimateCliques(diamond(3));
    EXPECT_EQ(stats.largestCliqueEntries, 12u);
    EXPECT_EQ(stats.totalEntries, 20u);
}

TEST(CliqueStructure, IncrementalCostsChooseAsFullRescoringDoes) {
    // Small networks with up to five states, so that ties in fill are often
    // decided by table size and then by index.
    using samplenet::EliminationCriterion;
    for (unsigned seed = 100; seed < 140; ++seed) {
        const int size = 5 + static_cast<int>(seed % 7) * 6;
        const int maxStates = 2 + static_cast<int>(seed % 4);
        SCOPED_TRACE("seed " + std::to_string(seed));
        const Network network = exact_testing::randomNetwork(seed, size, maxStates);
        EXPECT_EQ(samplenet::maximalCliques(network), cliquesByFullRescoring(network));
        const auto problem = samplenet::FactorModel::of(network).eliminationProblem();
        for (auto criterion : {EliminationCriterion::MinWeight, EliminationCriterion::WeightedMinFill})
            EXPECT_EQ(samplenet::triangulate(problem, criterion).cliques, cliquesByFullRescoring(network, criterion))
                << "criterion " << static_cast<int>(criterion);
    }
}

TEST(CliqueStructure, TheChosenOrderIsTheCheapestTriedAndRepeatable) {
    using samplenet::EliminationCriterion;
    for (unsigned seed = 1; seed <= 8; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const auto problem =
            samplenet::FactorModel::of(exact_testing::randomNetwork(seed, 40, 6)).eliminationProblem();
        const auto chosen = samplenet::cheapestTriangulation(problem, 8, 1);
        EXPECT_EQ(chosen.variablesEliminated, 40);
        for (auto criterion :
             {EliminationCriterion::MinFill, EliminationCriterion::MinWeight, EliminationCriterion::WeightedMinFill})
            EXPECT_LE(chosen.tableEntries, samplenet::triangulate(problem, criterion).tableEntries);
        EXPECT_LE(chosen.tableEntries, samplenet::cheapestTriangulation(problem, 0, 1).tableEntries);
        EXPECT_EQ(samplenet::cheapestTriangulation(problem, 8, 1).cliques, chosen.cliques);
    }
}

TEST(CliqueStructure, LargerRandomNetworksGetTheMinFillCliquesJoinedIntoAJunctionTree) {
    for (unsigned seed = 1; seed <= 5; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const Network network = exact_testing::randomNetwork(seed, 60, 3);
        const auto cliques = samplenet::maximalCliques(network);
        EXPECT_EQ(cliques, cliquesByFullRescoring(network));
        const auto tree = samplenet::joinCliques(cliques, network.size());
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
    // The clique tables alone (twice 8 entries of 8 bytes) pass 100 bytes
    // once the second clique is found; the last variable is never reached.
    const auto refusal = [](const Network& network, std::size_t limit) {
        return testing_support::messageOf<samplenet::ExactMemoryError>(
            [&] { samplenet::JunctionTree(network, {.memoryLimitBytes = limit}); });
    };
    EXPECT_EQ(refusal(exact_testing::chain(3), 100),
              "exact inference needs more than the limit of 100 bytes for its clique tables (measuring stopped "
              "after 2 of 3 variables, largest clique so far: 2 variables); use an approximate algorithm such "
              "as -a epis");
    // 150 bytes hold the clique tables but not the separator on top.
    EXPECT_EQ(refusal(exact_testing::chain(3), 150),
              "exact inference needs about 160 bytes of clique tables (largest clique: 2 variables), above the "
              "limit of 150 bytes; use an approximate algorithm such as -a epis");
    EXPECT_NO_THROW(samplenet::JunctionTree(exact_testing::chain(3), {.memoryLimitBytes = 160}));

    // Far beyond the default limit: refused before any table is allocated,
    // and before the triangulation is finished.
    const Network big = grid(30);
    const auto unlimited = samplenet::estimateCliques(big, {.memoryLimitBytes = SIZE_MAX});
    EXPECT_FALSE(unlimited.exceedsLimit);
    EXPECT_EQ(unlimited.variablesEliminated, big.size());
    EXPECT_GE(unlimited.largestCliqueVariables, 30);
    EXPECT_GT(unlimited.estimatedBytes, std::size_t{16} << 30);
    const std::string message =
        testing_support::messageOf<samplenet::ExactMemoryError>([&] { samplenet::JunctionTree tree(big); });
    EXPECT_TRUE(message.starts_with("exact inference needs more than the limit of 4 GiB for its clique tables "
                                    "(measuring stopped after "))
        << message;
    EXPECT_NE(message.find(" of 900 variables, largest clique so far: "), std::string::npos) << message;
}

// On this diagnosis network min-fill, min-weight and weighted min-fill all
// need more than 4 GiB, and only shuffled tie-breaking finds the 1.2 GiB
// tree: a search that gave up with the three refused a network it could do.
TEST(CliqueStructure, TriesShuffledOrdersWhenNoCriterionFitsTheLimit) {
    const Network network = samplenet::readNetwork(SAMPLENET_TEST_DATA "/uai2014/Promedus_18.uai");
    const auto stats = samplenet::estimateCliques(network);
    EXPECT_FALSE(stats.exceedsLimit);
    EXPECT_LE(stats.estimatedBytes, stats.limitBytes);
    EXPECT_NE(stats.order.find("shuffled ties"), std::string::npos) << stats.order;
}

// Each variable's parents are the two before it: the cliques are the
// overlapping triples, however long the network.
TEST(CliqueStructure, PlansALongLadderInFull) {
    constexpr int kLength = 20000;
    Network ladder;
    // Filled in directly: adding the variables one by one reindexes the names each time.
    ladder.variables.resize(kLength);
    for (int v = 0; v < kLength; ++v) {
        samplenet::Variable& variable = ladder.variables[v];
        variable.name = "v" + std::to_string(v);
        variable.states = {"a", "b"};
        for (int p = std::max(0, v - 2); p < v; ++p) variable.parents.push_back(p);
        variable.table.assign(std::size_t{2} << variable.parents.size(), 0.5);
    }
    ladder.reindex();
    const auto stats = samplenet::estimateCliques(ladder);
    EXPECT_FALSE(stats.exceedsLimit);
    EXPECT_EQ(stats.variablesEliminated, kLength);
    EXPECT_EQ(stats.cliqueCount, kLength - 2);
    EXPECT_EQ(stats.largestCliqueVariables, 3);
    EXPECT_EQ(stats.totalEntries, 8u * (kLength - 2));
}

}  // namespace
