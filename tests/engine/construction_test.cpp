#include <gtest/gtest.h>

#include "engine/samplenet.h"
#include "tests/engine/engine_run.h"

namespace {

using testing_support::TestHost;
using testing_support::TinyNet;

std::vector<bool> flagsOf(TestHost& host, const SampleNet& net) {
    std::vector<bool> result(net.nodeCount);
    for (int v = 0; v < net.nodeCount; ++v) result[v] = net.nodes[host.engineIndex(v)]->changeFlag;
    return result;
}

// The flags depend on the arcs alone: the sprinkler network is a diamond,
// 0 -> 1 -> 3 and 0 -> 2 -> 3.
TinyNet diamond() { return testing_support::sprinkler(); }

// Flags after construction must be the proper ancestors of evidence, and
// running the marking again on the built network must leave them so.
void expectFlags(const char* name, const TinyNet& net, std::vector<int> evidence, const std::vector<bool>& expected) {
    TestHost host(net, std::move(evidence));
    SampleNet sampleNet(host);
    EXPECT_EQ(flagsOf(host, sampleNet), expected) << name << ", as built";
    sampleNet.CheckChangeFlag();
    EXPECT_EQ(flagsOf(host, sampleNet), expected) << name << ", marked again";
    sampleNet.CheckChangeFlag();
    EXPECT_EQ(flagsOf(host, sampleNet), expected) << name << ", marked a third time";
}

TEST(ChangeFlags, MarkExactlyTheProperAncestorsOfEvidenceAlsoWhenMarkedAgain) {
    const TinyNet chain = testing_support::chain(3);
    expectFlags("chain, last observed", chain, {-1, -1, 1}, {true, true, false});
    expectFlags("chain, first two observed", chain, {0, 1, -1}, {true, false, false});
    expectFlags("chain, middle observed", chain, {-1, 0, -1}, {true, false, false});
    expectFlags("chain, negative values are unobserved", chain, {-2, -7, -1}, {false, false, false});
    // An observed node with observed descendants stays flagged.
    expectFlags("chain, all observed", chain, {1, 0, 1}, {true, true, false});
    // The unobserved node between two observed ones is flagged before the
    // first observed node's turn comes round again.
    expectFlags("chain, both ends observed", chain, {0, -1, 1}, {true, true, false});

    expectFlags("diamond, sink observed", diamond(), {-1, -1, -1, 0}, {true, true, true, false});
    expectFlags("diamond, one side observed", diamond(), {-1, 1, -1, -1}, {true, false, false, false});
    expectFlags("diamond, side and sink observed", diamond(), {-1, -1, 0, 1}, {true, true, true, false});
    expectFlags("diamond, source and sink observed", diamond(), {1, -1, -1, 0}, {true, true, true, false});
    expectFlags("loopy, root and a descendant observed", testing_support::threeLayerLoopy(), {1, -1, -1, -1, -1, 0, -1},
                {true, true, false, true, false, false, false});
    expectFlags("loopy, two observed", testing_support::threeLayerLoopy(), {-1, -1, 1, -1, -1, 0, -1},
                {true, true, false, true, false, false, false});
}

TEST(ChangeFlags, HoldWhenTheHostListsChildrenBeforeParents) {
    // Node 0 is the child of 1 and 2 here; the host renumbers before wiring.
    TinyNet net;
    net.add(2, {1, 2}, {0.5, 0.5, 0.5, 0.5, 0.5, 0.5, 0.5, 0.5});
    net.add(2, {2}, {0.5, 0.5, 0.5, 0.5});
    net.add(2, {}, {0.5, 0.5});
    net.add(2, {0}, {0.5, 0.5, 0.5, 0.5});
    TestHost host(net, {-1, -1, -1, 1});
    const SampleNet built(host);
    EXPECT_EQ(flagsOf(host, built), (std::vector<bool>{true, true, true, false}));
    EXPECT_EQ(host.partialOrderingCalls, 1);
    EXPECT_LT(host.engineIndex(2), host.engineIndex(1));
    EXPECT_LT(host.engineIndex(1), host.engineIndex(0));
}

TEST(ChangeFlags, ParentWalkOnItsOwnFlagsTheNodeAndEveryAncestor) {
    TestHost host(diamond());
    SampleNet net(host);
    net.ChangeParentFlag(host.engineIndex(1));
    EXPECT_EQ(flagsOf(host, net), (std::vector<bool>{true, true, false, false}));

    // A flag already set stops nothing, and nothing of the first walk is
    // remembered by the second.
    for (int i = 0; i < net.nodeCount; ++i) net.nodes[i]->changeFlag = false;
    net.nodes[host.engineIndex(1)]->changeFlag = true;
    net.nodes[host.engineIndex(2)]->changeFlag = true;
    net.ChangeParentFlag(host.engineIndex(3));
    EXPECT_EQ(flagsOf(host, net), (std::vector<bool>{true, true, true, true}));
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
