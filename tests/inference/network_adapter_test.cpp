#include "lib/inference/network_adapter.h"

#include <gtest/gtest.h>

#include <vector>

#include "lib/inference/network_shape.h"
#include "lib/model/errors.h"
#include "tests/support/test_networks.h"
#include "tests/support/tiny_network.h"

namespace {

using samplenet::Network;
using samplenet::NetworkAdapter;
using samplenet::RunClock;

std::vector<int> listed(const fastarray<int, 24, int>& list) {
    return std::vector<int>(list.items, list.items + list.size());
}

// Listed children first: C has parents (B, A), B has parent A.
Network listedOutOfOrder() {
    testing_support::TinyNet net;
    net.add(2, {2, 1}, {0.9, 0.1, 0.8, 0.2, 0.7, 0.3, 0.6, 0.4, 0.5, 0.5, 0.4, 0.6});  // C
    net.add(3, {}, {0.2, 0.3, 0.5});                                                 // A
    net.add(2, {1}, {0.1, 0.9, 0.2, 0.8, 0.3, 0.7});                                 // B
    return testing_support::toNetwork(net);
}

TEST(NetworkAdapter, RenumbersTopologicallyAndKeepsTableLayout) {
    const Network network = listedOutOfOrder();
    RunClock clock(std::nullopt, 10, {});
    NetworkAdapter adapter(network, {{0, 1}}, EpisParams{}, 10, clock);
    adapter.PartialOrdering();
    // Engine numbering: A = 0, B = 1, C = 2.
    EXPECT_EQ(adapter.GetStateCount(0), 3);
    EXPECT_EQ(adapter.GetNumParents(2), 2);
    fastarray<int, 24, int> parents;
    adapter.GetParents(2, parents);
    EXPECT_EQ(listed(parents), (std::vector<int>{1, 0}));
    fastarray<int, 24, int> children;
    adapter.GetChildren(0, children);
    EXPECT_EQ(listed(children), (std::vector<int>{2, 1}));
    EXPECT_EQ(adapter.GetNumChildren(2), 0);

    const QVR_Dmatrix& table = *adapter.GetMatrix(2);
    ASSERT_EQ(table.NumDimensions(), 3);
    EXPECT_EQ(table.GetSizeOfDimension(0), 2);
    EXPECT_EQ(table.GetSizeOfDimension(1), 3);
    EXPECT_EQ(table.GetSizeOfDimension(2), 2);
    const auto& expected = network.variables[0].table;
    EXPECT_EQ(std::vector<double>(table.data.data, table.data.data + table.data.numElements), expected);

    EXPECT_EQ(adapter.GetEvidence(2), 1);
    EXPECT_LT(adapter.GetEvidence(0), 0);
    EXPECT_EQ(adapter.GetDepthOfNet(), 3);

    // Beliefs written by engine index land on the variable.
    adapter.GetBeliefs(1)[1] = 0.25;
    EXPECT_EQ(adapter.beliefs(2)[1], 0.25);
}

TEST(NetworkAdapter, RejectsDirectedCycles) {
    testing_support::TinyNet net;
    net.add(2, {1}, {0.5, 0.5, 0.5, 0.5});
    net.add(2, {0}, {0.5, 0.5, 0.5, 0.5});
    const Network network = testing_support::toNetwork(net);
    RunClock clock(std::nullopt, 10, {});
    EXPECT_THROW(NetworkAdapter(network, {}, EpisParams{}, 10, clock), samplenet::ModelError);
}

// The counts are checked end to end by the info command's test.
TEST(NetworkShape, DepthAndPolytreeOnLoopyNetworks) {
    const auto polytree = samplenet::describeShape(testing_support::toNetwork(testing_support::polytree()));
    EXPECT_EQ(polytree.depth, 4);
    EXPECT_TRUE(polytree.polytree);
    const auto loopy = samplenet::describeShape(testing_support::toNetwork(testing_support::sprinkler()));
    EXPECT_EQ(loopy.depth, 3);
    EXPECT_FALSE(loopy.polytree);
}

}  // namespace
