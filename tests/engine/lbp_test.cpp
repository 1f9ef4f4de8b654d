#include <gtest/gtest.h>

#include "tests/engine/engine_run.h"
#include "tests/support/brute_force.h"

namespace {

using namespace testing_support;

// A run of `iterations` on a fresh host.
TestHost lbpRun(const TinyNet& net, std::vector<int> evidence, int iterations) {
    TestHost host(net, std::move(evidence));
    host.params.propagationLength = iterations;
    EXPECT_EQ(runDriver(host, Driver::Lbp), 0);
    return host;
}

double lbpError(const TinyNet& net, const std::vector<int>& evidence, int iterations) {
    return largestDifference(lbpRun(net, evidence, iterations).allBeliefs(), enumerate(net, evidence).posteriors);
}

TEST(LbpExactness, PolytreeBeliefsEqualEnumerationAfterDiameterPlusOne) {
    const TinyNet net = polytree();
    // Longest undirected path: 0-2-3-5 and 1-2-3-5 (3 edges) and 4-2-3-5 (3).
    const int diameter = 3;
    for (const std::vector<int>& evidence : std::vector<std::vector<int>>{
             {-1, -1, -1, -1, -1, -1}, {-1, -1, -1, -1, 1, 0}, {1, -1, -1, 2, -1, -1}, {-1, 2, 0, -1, -1, 1}}) {
        EXPECT_LT(lbpError(net, evidence, diameter + 1), 1e-9);
        // More iterations change nothing.
        EXPECT_LT(lbpError(net, evidence, diameter + 6), 1e-9);
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
    EXPECT_LT(lbpError(net, {-1, -1, 1}, 8), 1e-9);
}

TEST(LbpExactness, EvidenceTravelsOneEdgePerIteration) {
    const TinyNet net = chain(3);
    const std::vector<int> evidence = {-1, -1, 0};
    const ExactAnswer exact = enumerate(net, evidence);
    EXPECT_NEAR(lbpRun(net, evidence, 2).beliefs(0)[0], 0.3, 1e-12);  // still the prior
    EXPECT_NEAR(lbpRun(net, evidence, 3).beliefs(0)[0], exact.posteriors[0][0], 1e-12);
    EXPECT_GT(std::abs(exact.posteriors[0][0] - 0.3), 0.05);
}

TEST(LbpExactness, OneIterationWithoutEvidenceAveragesOverParentConfigurations) {
    const TestHost host = lbpRun(sprinkler(), {}, 1);
    EXPECT_EQ(host.beliefs(0), (std::vector<double>{0.5, 0.5}));
    EXPECT_NEAR(host.beliefs(3)[1], (0.0 + 0.9 + 0.9 + 0.99) / 4, 1e-12);
}

TEST(LbpLoopy, ConvergesNearButNotOntoTheExactPosteriors) {
    // On a network with loops the messages double-count evidence: the beliefs
    // settle close to the posteriors but not on them.
    const double error = lbpError(threeLayerLoopy(), {-1, -1, 1, -1, -1, -1, 2}, 50);
    EXPECT_LT(error, 0.05);
    EXPECT_GT(error, 1e-4);
}

TEST(LbpResult, NoIterationsHandsOverZeros) {
    const TestHost host = lbpRun(chain(2), {-1, 1}, 0);
    EXPECT_EQ(host.beliefs(0), (std::vector<double>{0.0, 0.0}));
    EXPECT_TRUE(host.valueValidCalls.empty());
}

TEST(LbpResult, ObservedParentsAndTwoRunsInARow) {
    TestHost host = lbpRun(sprinkler(), {1, -1, -1, 0}, 10);
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
