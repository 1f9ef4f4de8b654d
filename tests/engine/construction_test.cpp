#include <gtest/gtest.h>

#include "engine/samplenet.h"
#include "tests/engine/engine_run.h"

namespace {

using testing_support::TestHost;
using testing_support::TinyNet;

std::vector<bool> flags(TestHost& host) {
    SampleNet sampleNet(host);
    std::vector<bool> result(sampleNet.nodeCount);
    for (int v = 0; v < sampleNet.nodeCount; ++v) result[v] = sampleNet.nodes[host.engineIndex(v)]->changeFlag;
    return result;
}

std::vector<bool> flagsOf(const TinyNet& net, std::vector<int> evidence) {
    TestHost host(net, std::move(evidence));
    return flags(host);
}

TinyNet diamond() {
    TinyNet net;
    net.add(2, {}, {0.5, 0.5});
    net.add(2, {0}, {0.5, 0.5, 0.5, 0.5});
    net.add(2, {0}, {0.5, 0.5, 0.5, 0.5});
    net.add(2, {1, 2}, {0.5, 0.5, 0.5, 0.5, 0.5, 0.5, 0.5, 0.5});
    return net;
}

TEST(ChangeFlags, MarkExactlyTheProperAncestorsOfEvidence) {
    const TinyNet chain = testing_support::chain(3);
    EXPECT_EQ(flagsOf(chain, {-1, -1, 1}), (std::vector<bool>{true, true, false}));
    EXPECT_EQ(flagsOf(chain, {0, 1, -1}), (std::vector<bool>{true, false, false}));
    EXPECT_EQ(flagsOf(chain, {-1, 0, -1}), (std::vector<bool>{true, false, false}));
    EXPECT_EQ(flagsOf(chain, {-2, -7, -1}), (std::vector<bool>{false, false, false}));
    // An observed node with observed descendants stays flagged.
    EXPECT_EQ(flagsOf(chain, {1, 0, 1}), (std::vector<bool>{true, true, false}));

    EXPECT_EQ(flagsOf(diamond(), {-1, -1, -1, 0}), (std::vector<bool>{true, true, true, false}));
    EXPECT_EQ(flagsOf(diamond(), {-1, 1, -1, -1}), (std::vector<bool>{true, false, false, false}));
    EXPECT_EQ(flagsOf(diamond(), {-1, -1, 0, 1}), (std::vector<bool>{true, true, true, false}));
}

TEST(ChangeFlags, HoldWhenTheHostListsChildrenBeforeParents) {
    // Node 0 is the child of 1 and 2 here; the host renumbers before wiring.
    TinyNet net;
    net.add(2, {1, 2}, {0.5, 0.5, 0.5, 0.5, 0.5, 0.5, 0.5, 0.5});
    net.add(2, {2}, {0.5, 0.5, 0.5, 0.5});
    net.add(2, {}, {0.5, 0.5});
    net.add(2, {0}, {0.5, 0.5, 0.5, 0.5});
    TestHost host(net, {-1, -1, -1, 1});
    EXPECT_EQ(flags(host), (std::vector<bool>{true, true, true, false}));
    EXPECT_EQ(host.partialOrderingCalls, 1);
    EXPECT_LT(host.engineIndex(2), host.engineIndex(1));
    EXPECT_LT(host.engineIndex(1), host.engineIndex(0));
}

TEST(ChangeFlags, RerunningTheMarkingChangesNothing) {
    TestHost host(testing_support::threeLayerLoopy(), {-1, -1, 1, -1, -1, 0, -1});
    SampleNet net(host);
    std::vector<bool> before;
    for (int i = 0; i < net.nodeCount; ++i) before.push_back(net.nodes[i]->changeFlag);
    net.CheckChangeFlag();
    for (int i = 0; i < net.nodeCount; ++i) EXPECT_EQ(net.nodes[i]->changeFlag, before[i]) << i;
}

TEST(Construction, WiresParentsChildrenStateRefsTablesAndEvidence) {
    TestHost host(testing_support::threeLayerLoopy(), {-1, -1, -1, -1, 1, -1, -1});
    SampleNet net(host);
    ASSERT_EQ(net.nodeCount, 7);
    const SampleNode& x = *net.nodes[host.engineIndex(4)];
    ASSERT_EQ(x.numParents, 2);
    EXPECT_EQ(x.parents[0], host.engineIndex(2));
    EXPECT_EQ(x.parents[1], host.engineIndex(3));
    EXPECT_EQ(x.parentStateCounts[0], 2);
    EXPECT_EQ(x.parentStateCounts[1], 3);
    EXPECT_EQ(x.stateRefs[0], &net.nodes[x.parents[0]]->sampledState);
    EXPECT_EQ(x.stateRefs[1], &net.nodes[x.parents[1]]->sampledState);
    EXPECT_EQ(x.stateRefs[2], &x.sampledState);
    EXPECT_EQ(x.evidence, 1);
    EXPECT_EQ(x.sampledState, 1);
    EXPECT_EQ(x.cpt, host.GetMatrix(host.engineIndex(4)));
    ASSERT_EQ(x.numChildren, 1);
    EXPECT_EQ(x.children[0], host.engineIndex(6));

    const SampleNode& root = *net.nodes[host.engineIndex(0)];
    EXPECT_EQ(root.numParents, 0);
    EXPECT_EQ(root.stateRefs[0], &root.sampledState);
    EXPECT_EQ(root.sampledState, -1);
    EXPECT_EQ(root.evidence, -1);
    EXPECT_EQ(root.numChildren, 2);
}

TEST(Construction, NodeWithMoreParentsThanTheInlineListRoom) {
    TinyNet net;
    // Single-state parents keep the child's table at two entries.
    for (int p = 0; p < 30; ++p) net.add(1, {}, {1.0});
    std::vector<int> parents(30);
    for (int p = 0; p < 30; ++p) parents[p] = 29 - p;  // order matters: reversed
    net.add(2, parents, {0.5, 0.5});
    TestHost host(net, std::vector<int>(31, -1));
    SampleNet sampleNet(host);
    const SampleNode& child = *sampleNet.nodes[host.engineIndex(30)];
    ASSERT_EQ(child.numParents, 30);
    for (int p = 0; p < 30; ++p) {
        EXPECT_EQ(child.parents[p], host.engineIndex(29 - p));
        EXPECT_EQ(child.stateRefs[p], &sampleNet.nodes[child.parents[p]]->sampledState);
    }
    EXPECT_EQ(sampleNet.nodes[host.engineIndex(0)]->numChildren, 1);
}

TEST(Construction, EmptyNetworkStillOrdersOnce) {
    TestHost host(TinyNet{});
    SampleNet net(host);
    EXPECT_EQ(net.nodeCount, 0);
    EXPECT_EQ(host.partialOrderingCalls, 1);
    net.SetParameterForImportanceSampling();
    net.ClearImportanceParameter();
}

TEST(WriteBack, DirectAndIntoAHostNode) {
    SampleNode node(3);
    node.weights[0] = 0.2;
    node.weights[1] = 0.3;
    node.weights[2] = 0.5;
    double out[3] = {};
    node.WriteBeliefsDirectBack(out);
    EXPECT_EQ(out[2], 0.5);

    QVR_node hostNode;
    hostNode.Value().flags = 1u;
    node.WriteBeliefsBack(&hostNode);
    const QVR_Dmatrix& table = hostNode.Value().valueTable;
    ASSERT_EQ(table.data.numElements, 3);
    EXPECT_EQ(table.data[1], 0.3);
    EXPECT_EQ(hostNode.Value().flags, 3u);

    SampleNode stateless(0);
    stateless.WriteBeliefsBack(&hostNode);
    EXPECT_EQ(hostNode.Value().valueTable.data.numElements, 0);
    EXPECT_EQ(hostNode.Value().flags, 3u);
}

}  // namespace
