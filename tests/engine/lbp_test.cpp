#include <gtest/gtest.h>

#include "tests/engine/engine_run.h"
#include "tests/support/brute_force.h"

namespace {

using namespace testing_support;

TEST(LbpExactness, PolytreeBeliefsEqualEnumerationAfterDiameterPlusOne) {
    const TinyNet net = polytree();
    // Longest undirected path: 0-2-3-5 and 1-2-3-5 (3 edges) and 4-2-3-5 (3).
    const int diameter = 3;
    for (const std::vector<int>& evidence : std::vector<std::vector<int>>{
             {-1, -1, -1, -1, -1, -1}, {-1, -1, -1, -1, 1, 0}, {1, -1, -1, 2, -1, -1}, {-1, 2, 0, -1, -1, 1}}) {
        const ExactAnswer exact = enumerate(net, evidence);
        TestHost host(net, evidence);
        host.params.propagationLength = diameter + 1;
        ASSERT_EQ(runDriver(host, Driver::Lbp), 0);
        EXPECT_LT(worstError(host, exact.posteriors), 1e-9);
        // More iterations change nothing.
        TestHost longer(net, evidence);
        longer.params.propagationLength = diameter + 6;
        ASSERT_EQ(runDriver(longer, Driver::Lbp), 0);
        EXPECT_LT(worstError(longer, exact.posteriors), 1e-9);
    }
}

TEST(LbpExactness, ZeroMessagesAreSkippedNotDividedBy) {
    // Y = 1 is impossible when X = 2: from the second iteration on, Y's lambda
    // message to X and X's pi message to Y are 0 there, and each is the
    // divisor of the message that goes back. Still a polytree, still exact.
    TinyNet net;
    net.add(3, {}, {0.6, 0.3, 0.1});  // X
    net.add(2, {}, {0.4, 0.6});       // Z
    net.add(2, {0, 1}, {0.9, 0.1, 0.3, 0.7, 0.6, 0.4, 0.2, 0.8, 1.0, 0.0, 1.0, 0.0});  // Y
    const std::vector<int> evidence = {-1, -1, 1};
    const ExactAnswer exact = enumerate(net, evidence);
    TestHost host(net, evidence);
    host.params.propagationLength = 8;
    ASSERT_EQ(runDriver(host, Driver::Lbp), 0);
    EXPECT_LT(worstError(host, exact.posteriors), 1e-9);
}

TEST(LbpExactness, EvidenceTravelsOneEdgePerIteration) {
    const TinyNet net = chain(3);
    const std::vector<int> evidence = {-1, -1, 0};
    const ExactAnswer exact = enumerate(net, evidence);
    TestHost two(net, evidence);
    two.params.propagationLength = 2;
    ASSERT_EQ(runDriver(two, Driver::Lbp), 0);
    EXPECT_NEAR(two.beliefs(0)[0], 0.3, 1e-12);  // still the prior
    TestHost three(net, evidence);
    three.params.propagationLength = 3;
    ASSERT_EQ(runDriver(three, Driver::Lbp), 0);
    EXPECT_NEAR(three.beliefs(0)[0], exact.posteriors[0][0], 1e-12);
    EXPECT_GT(std::abs(exact.posteriors[0][0] - 0.3), 0.05);
}

TEST(LbpExactness, OneIterationWithoutEvidenceAveragesOverParentConfigurations) {
    TestHost host(sprinkler());
    host.params.propagationLength = 1;
    ASSERT_EQ(runDriver(host, Driver::Lbp), 0);
    EXPECT_EQ(host.beliefs(0), (std::vector<double>{0.5, 0.5}));
    EXPECT_NEAR(host.beliefs(3)[1], (0.0 + 0.9 + 0.9 + 0.99) / 4, 1e-12);
}

TEST(LbpLoopy, ConvergesNearButNotOntoTheExactPosteriors) {
    // On a network with loops the messages double-count evidence: the beliefs
    // settle close to the posteriors but not on them.
    const std::vector<int> evidence = {-1, -1, 1, -1, -1, -1, 2};
    const ExactAnswer exact = enumerate(threeLayerLoopy(), evidence);
    TestHost host(threeLayerLoopy(), evidence);
    host.params.propagationLength = 50;
    ASSERT_EQ(runDriver(host, Driver::Lbp), 0);
    const double error = worstError(host, exact.posteriors);
    EXPECT_LT(error, 0.05);
    EXPECT_GT(error, 1e-4);
}

TEST(LbpResult, NoIterationsHandsOverZeros) {
    TestHost host(chain(2), {-1, 1});
    host.params.propagationLength = 0;
    ASSERT_EQ(runDriver(host, Driver::Lbp), 0);
    EXPECT_EQ(host.beliefs(0), (std::vector<double>{0.0, 0.0}));
    EXPECT_TRUE(host.valueValidCalls.empty());
}

TEST(LbpResult, ObservedParentsAndTwoRunsInARow) {
    const std::vector<int> evidence = {1, -1, -1, 0};
    TestHost host(sprinkler(), evidence);
    host.params.propagationLength = 10;
    ASSERT_EQ(runDriver(host, Driver::Lbp), 0);
    EXPECT_EQ(host.beliefs(0), (std::vector<double>{0.0, 1.0}));
    const std::vector<double> first = host.beliefs(1);
    ASSERT_EQ(runDriver(host, Driver::Lbp), 0);
    EXPECT_EQ(host.beliefs(1), first);
}

TEST(LbpFailure, EvidenceThatPiRulesOutReturnsZeroTotal) {
    TinyNet net;
    net.add(2, {}, {1.0, 0.0});
    net.add(2, {0}, {0.5, 0.5, 0.5, 0.5});
    TestHost host(net, {1, -1});
    host.params.propagationLength = 3;
    EXPECT_EQ(runDriver(host, Driver::Lbp), -26);
    EXPECT_EQ(host.beliefs(1), (std::vector<double>{-1.0, -1.0}));  // nothing handed over
}

}  // namespace
