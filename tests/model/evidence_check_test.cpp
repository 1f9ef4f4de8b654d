#include "lib/model/evidence_check.h"

#include <gtest/gtest.h>

#include <limits>

#include "lib/model/errors.h"
#include "tests/support/tiny_network.h"

namespace {

using samplenet::Evidence;
using samplenet::EvidenceError;
using samplenet::findImpossibleVariable;

// A -> B -> C where B copies A and C copies B; D is a child of A that is
// never in state 1 when A is 0.
samplenet::Network copyChain() {
    testing_support::TinyNet net;
    net.add(2, {}, {0.5, 0.5});                 // A = V0
    net.add(2, {0}, {1.0, 0.0, 0.0, 1.0});      // B = V1
    net.add(2, {1}, {1.0, 0.0, 0.0, 1.0});      // C = V2
    net.add(2, {0}, {1.0, 0.0, 0.3, 0.7});      // D = V3
    net.add(3, {}, {0.0, 0.5, 0.5});            // E = V4, state 0 never occurs
    return testing_support::toNetwork(net);
}

TEST(ImpossibleEvidence, FindsStatesWithNoProbabilityAndContradictions) {
    const auto network = copyChain();
    // A state with probability 0 in every column.
    EXPECT_EQ(findImpossibleVariable(network, Evidence{{{4, 0}}, {}}), 4);
    // Observations that contradict each other through deterministic tables,
    // also two steps apart and through a likelihood.
    EXPECT_TRUE(findImpossibleVariable(network, Evidence{{{0, 0}, {1, 1}}, {}}));
    EXPECT_TRUE(findImpossibleVariable(network, Evidence{{{0, 0}, {2, 1}}, {}}));
    EXPECT_TRUE(findImpossibleVariable(network, Evidence{{{2, 0}, {3, 1}}, {}}));
    EXPECT_TRUE(findImpossibleVariable(network, Evidence{{{0, 0}}, {{2, {0.0, 1.0}}}}));
}

TEST(ImpossibleEvidence, AcceptsPossibleEvidence) {
    const auto network = copyChain();
    EXPECT_FALSE(findImpossibleVariable(network, Evidence{}));
    EXPECT_FALSE(findImpossibleVariable(network, Evidence{{{0, 1}, {2, 1}, {3, 1}, {4, 2}}, {}}));
    EXPECT_FALSE(findImpossibleVariable(network, Evidence{{{2, 1}, {3, 1}}, {}}));
    EXPECT_FALSE(findImpossibleVariable(network, Evidence{{{3, 0}}, {{2, {0.0, 1.0}}}}));
}

// Likelihood lengths and all-zero vectors are covered by the parser's tests.
TEST(EvidenceShape, RejectsUnknownIndicesAndBadLikelihoodEntries) {
    const auto network = copyChain();
    EXPECT_NO_THROW(checkEvidenceShape(network, Evidence{{{4, 2}}, {{0, {0.0, 2.5}}}}));
    EXPECT_THROW(checkEvidenceShape(network, Evidence{{{5, 0}}, {}}), EvidenceError);
    EXPECT_THROW(checkEvidenceShape(network, Evidence{{{4, 3}}, {}}), EvidenceError);
    EXPECT_THROW(checkEvidenceShape(network, Evidence{{}, {{0, {-0.5, 1.0}}}}), EvidenceError);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THROW(checkEvidenceShape(network, Evidence{{}, {{0, {nan, 1.0}}}}), EvidenceError);
}

}  // namespace
