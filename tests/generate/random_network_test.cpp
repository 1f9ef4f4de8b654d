#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

#include "lib/generate/random_network.h"
#include "lib/model/errors.h"
#include "tests/support/error_message.h"

namespace samplenet {
namespace {

// Pinned draws: a change here means that seeds no longer give the networks
// users generated before, or that a platform-dependent distribution crept in.
// Another seed gives another network; the same seed, the same one.
TEST(RandomNetwork, TheSeedAloneDecidesTheNetworkAsInEarlierVersions) {
    RandomNetworkOptions options;
    options.nodes = 6;
    options.seed = 3;
    const Network network = randomNetwork(options);
    std::vector<int> stateCounts;
    for (const Variable& variable : network.variables) stateCounts.push_back(variable.stateCount());
    EXPECT_EQ(stateCounts, (std::vector<int>{4, 4, 2, 2, 3, 4}));
    EXPECT_EQ(network.variables[2].parents, (std::vector<int>{0, 1}));
    EXPECT_EQ(network.variables[0].table[0], 0.1156880244104321);
    EXPECT_EQ(network.variables[1].table[3], 0.3754889111748292);
    options.seed = 4;
    EXPECT_NE(randomNetwork(options).variables[0].table[0], 0.1156880244104321);
    // Where the zeros go is drawn from the seed too.
    options.zeroShare = 0.3;
    const Network first = randomNetwork(options), again = randomNetwork(options);
    for (int v = 0; v < first.size(); ++v) EXPECT_EQ(first.variables[v].table, again.variables[v].table);
}

struct Shape {
    RandomNetworkOptions options;
    const char* label;
};

// Everything validate() checks, plus the shape asked for, on networks big
// enough that every state count, parent count and distance occurs.
TEST(RandomNetwork, RespectsTheShapeAskedFor) {
    const std::vector<Shape> shapes{
        {{.nodes = 2000, .seed = 1}, "defaults"},
        {{.nodes = 2000, .minStates = 1, .maxStates = 3, .maxParents = 4, .locality = 6, .seed = 2}, "narrow window"},
        {{.nodes = 1500, .minStates = 3, .maxStates = 3, .maxParents = 1, .locality = 1, .seed = 3}, "chain"},
        {{.nodes = 500, .maxParents = 0, .seed = 4}, "no arcs"},
        {{.nodes = 1, .seed = 5}, "one node"},
    };
    for (const Shape& shape : shapes) {
        SCOPED_TRACE(shape.label);
        const RandomNetworkOptions& options = shape.options;
        Network network = randomNetwork(options);
        ASSERT_EQ(network.size(), options.nodes);
        int fewestStates = std::numeric_limits<int>::max(), mostStates = 0, mostParents = 0, farthest = 0;
        for (int i = 0; i < network.size(); ++i) {
            const Variable& variable = network.variables[i];
            ASSERT_EQ(variable.name, "X" + std::to_string(i));
            ASSERT_EQ(network.indexOf(variable.name), i);
            fewestStates = std::min(fewestStates, variable.stateCount());
            mostStates = std::max(mostStates, variable.stateCount());
            for (int s = 0; s < variable.stateCount(); ++s) ASSERT_EQ(variable.states[s], "s" + std::to_string(s));

            const int window = std::min(i, options.locality);
            const int parents = static_cast<int>(variable.parents.size());
            ASSERT_LE(parents, std::min(options.maxParents, window)) << variable.name;
            if (options.maxParents > 0 && i > 0) {
                ASSERT_GE(parents, 1) << variable.name;  // connected
            }
            ASSERT_TRUE(std::is_sorted(variable.parents.begin(), variable.parents.end())) << variable.name;
            ASSERT_EQ(std::adjacent_find(variable.parents.begin(), variable.parents.end()), variable.parents.end());
            for (int parent : variable.parents) {
                ASSERT_GE(parent, i - window) << variable.name;
                ASSERT_LT(parent, i) << variable.name;
                farthest = std::max(farthest, i - parent);
            }
            mostParents = std::max(mostParents, parents);
        }
        if (options.nodes > 1) {
            EXPECT_EQ(fewestStates, options.minStates);
            EXPECT_EQ(mostStates, options.maxStates);
            EXPECT_EQ(mostParents, std::min(options.maxParents, options.locality));
            EXPECT_EQ(farthest, options.maxParents > 0 ? options.locality : 0);
        }
        // Table sizes, entries and columns summing to 1, with nothing to renormalise.
        EXPECT_TRUE(isValidAsIs(network));
        EXPECT_NO_THROW(validate(network));
    }
}

double zeroShareOf(const Network& network) {
    std::size_t zeros = 0, entries = 0;
    for (const Variable& variable : network.variables) {
        zeros += std::count(variable.table.begin(), variable.table.end(), 0.0);
        entries += variable.table.size();
    }
    return static_cast<double>(zeros) / static_cast<double>(entries);
}

TEST(RandomNetwork, SetsTheShareOfZerosAskedFor) {
    RandomNetworkOptions options;
    options.nodes = 3000;
    EXPECT_EQ(zeroShareOf(randomNetwork(options)), 0.0);
    for (double share : {0.1, 0.3}) {
        options.zeroShare = share;
        EXPECT_NEAR(zeroShareOf(randomNetwork(options)), share, 0.01) << share;
    }
    // A column of two states keeps one positive entry, so it holds at most half zeros.
    options.minStates = options.maxStates = 2;
    options.zeroShare = 0.9;
    EXPECT_DOUBLE_EQ(zeroShareOf(randomNetwork(options)), 0.5);
}

std::string refusal(const RandomNetworkOptions& options, const ReadLimits& limits = {}) {
    return testing_support::messageOf<std::invalid_argument>([&] { randomNetwork(options, limits); });
}

TEST(RandomNetwork, RefusesNetworksAboveTheReadingLimits) {
    EXPECT_EQ(refusal({.nodes = 2000000}),
              "a network of 2000000 nodes with up to 4 states and 3 parents may need 5.1e8 table entries, above the "
              "limit of 67108864 (--max-total-entries)");
    // Near the start nodes have fewer parents: 2 + 4 + 9 * 8 entries.
    EXPECT_EQ(refusal({.nodes = 11, .minStates = 2, .maxStates = 2, .maxParents = 2}, {.maxTotalEntries = 77}),
              "a network of 11 nodes with up to 2 states and 2 parents may need 78 table entries, above the limit "
              "of 77 (--max-total-entries)");
    EXPECT_EQ(refusal({.nodes = 11, .minStates = 2, .maxStates = 2, .maxParents = 2}, {.maxTotalEntries = 78}),
              "(no error)");
    EXPECT_EQ(refusal({.nodes = 100, .maxParents = 12}),
              "a node with up to 4 states and 12 parents may need a table of 6.7e7 entries, above the limit of "
              "16777216 (--max-table-entries)");
    // The window, not the option, bounds the parents here.
    EXPECT_EQ(refusal({.nodes = 100, .maxParents = 12, .locality = 11}),
              "a network of 100 nodes with up to 4 states and 11 parents may need 1.5e9 table entries, above the "
              "limit of 67108864 (--max-total-entries)");
    EXPECT_EQ(refusal({.nodes = 10, .maxStates = 300}, {.maxStates = 256}),
              "nodes of up to 300 states are above the limit of 256 states (--max-states)");
    EXPECT_EQ(refusal({.nodes = 1000, .minStates = 1, .maxStates = 1, .maxParents = 900, .locality = 1000},
                      {.maxTotalEntries = 100000}),
              "a network of 1000 nodes with up to 900 parents may have 494550 arcs, above the limit of 100000 "
              "(--max-total-entries)");
}

TEST(RandomNetwork, RefusesOptionsThatMakeNoSense) {
    EXPECT_EQ(refusal({.nodes = 0}), "a network needs at least 1 node");
    EXPECT_EQ(refusal({.minStates = 0}), "a node needs at least 1 state");
    EXPECT_EQ(refusal({.minStates = 5, .maxStates = 3}), "the fewest states (5) are above the most states (3)");
    EXPECT_EQ(refusal({.maxParents = -1}), "the most parents cannot be negative");
    EXPECT_EQ(refusal({.locality = 0}),
              "parents are drawn from the previous `locality` nodes, which must be at least 1");
    EXPECT_EQ(refusal({.maxParents = 0, .locality = 0}), "(no error)");
    for (double share : {-0.1, 1.0, std::nan("")})
        EXPECT_EQ(refusal({.zeroShare = share}), "the share of zero entries must be at least 0 and below 1") << share;
}

}  // namespace
}  // namespace samplenet
