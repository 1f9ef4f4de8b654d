#include "lib/exact/junction_tree.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "lib/model/errors.h"
#include "tests/exact/exact_test_networks.h"
#include "tests/support/error_message.h"

namespace {

using exact_testing::addVariable;
using samplenet::Evidence;
using samplenet::JunctionTree;
using samplenet::Network;

constexpr double tolerance = 1e-12;

void expectAgreesWithEnumeration(const JunctionTree& tree, const Network& network, const Evidence& evidence) {
    const auto truth = exact_testing::enumerate(network, evidence);
    const auto result = tree.infer(evidence);
    EXPECT_NEAR(result.probabilityOfEvidence, truth.probabilityOfEvidence, tolerance * truth.probabilityOfEvidence);
    exact_testing::expectAnswers(result, truth.posteriors, std::log(truth.probabilityOfEvidence));
}

// Observes two variables in three, each in its least likely state given the
// observations so far.
Evidence unlikelyEvidence(const Network& network) {
    Evidence evidence;
    for (int v = 0; v < network.size(); ++v) {
        if (v % 3 == 2) continue;
        const auto marginal = exact_testing::enumerate(network, evidence).posteriors[v];
        evidence.hard[v] = static_cast<int>(std::min_element(marginal.begin(), marginal.end()) - marginal.begin());
    }
    return evidence;
}

// The last network has two separate components.
TEST(JunctionTree, AgreesWithEnumerationOnHandBuiltNetworks) {
    Network components = exact_testing::chain(3);
    addVariable(components, 3, {}, {0.2, 0.3, 0.5});
    addVariable(components, 2, {3}, {0.1, 0.9, 0.6, 0.4, 0.5, 0.5});
    for (const Network& network :
         {exact_testing::chain(6), exact_testing::loopy(), exact_testing::polytree(), components}) {
        const JunctionTree tree(network);
        for (const Evidence& evidence : exact_testing::evidenceCases(network, 7)) expectAgreesWithEnumeration(tree, network, evidence);
        expectAgreesWithEnumeration(tree, network, unlikelyEvidence(network));
    }
}

TEST(JunctionTree, AgreesWithEnumerationOnRandomNetworks) {
    for (unsigned seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const Network network = seed % 2 ? exact_testing::randomNetwork(seed, 8, 4)
                                         : exact_testing::randomNetwork(seed, 10, 3);
        const JunctionTree tree(network);
        for (const Evidence& evidence : exact_testing::evidenceCases(network, seed)) expectAgreesWithEnumeration(tree, network, evidence);
        const Evidence unlikely = unlikelyEvidence(network);
        expectAgreesWithEnumeration(tree, network, unlikely);
        EXPECT_LT(tree.infer(unlikely).probabilityOfEvidence, 1e-6);
    }
}

TEST(JunctionTree, ResultsDoNotDependOnTheOrderVariablesAreListed) {
    const Network network = exact_testing::randomNetwork(11, 9, 3);
    std::mt19937 rng(5);
    std::vector<int> order(network.size());
    std::iota(order.begin(), order.end(), 0);
    for (int round = 0; round < 3; ++round) {
        std::shuffle(order.begin(), order.end(), rng);
        const Network shuffled = exact_testing::permuted(network, order);
        for (const Evidence& evidence : exact_testing::evidenceCases(network, 20 + round)) {
            // The same observations, keyed by the variables' new positions.
            Evidence moved;
            for (int i = 0; i < network.size(); ++i) {
                if (evidence.hard.count(order[i])) moved.hard[i] = evidence.hard.at(order[i]);
                if (evidence.likelihood.count(order[i])) moved.likelihood[i] = evidence.likelihood.at(order[i]);
            }
            const auto original = JunctionTree(network).infer(evidence);
            const auto reordered = JunctionTree(shuffled).infer(moved);
            EXPECT_NEAR(reordered.logProbabilityOfEvidence, original.logProbabilityOfEvidence, tolerance);
            for (int i = 0; i < network.size(); ++i)
                for (std::size_t s = 0; s < reordered.posteriors[i].size(); ++s)
                    EXPECT_NEAR(reordered.posteriors[i][s], original.posteriors[order[i]][s], tolerance);
        }
    }
}

TEST(JunctionTree, KeepsTheLogProbabilityWhenItUnderflows) {
    // A long chain that keeps switching state against the odds; every
    // variable but the middle one is observed.
    const int length = 400, middle = 200;
    const std::vector<double> step = {0.95, 0.05, 0.1, 0.9};
    const auto transition = [&](int from, int to) { return step[from * 2 + to]; };
    Network network;
    addVariable(network, 2, {}, {0.5, 0.5});
    for (int v = 1; v < length; ++v) addVariable(network, 2, {v - 1}, step);
    Evidence evidence;
    for (int v = 0; v < length; ++v)
        if (v != middle) evidence.hard[v] = v % 2;

    double logExpected = std::log(0.5);
    for (int v = 1; v < length; ++v)
        if (v != middle && v - 1 != middle) logExpected += std::log(transition((v - 1) % 2, v % 2));
    double joint[2];
    for (int s = 0; s < 2; ++s) joint[s] = transition((middle - 1) % 2, s) * transition(s, (middle + 1) % 2);
    logExpected += std::log(joint[0] + joint[1]);

    const auto result = JunctionTree(network).infer(evidence);
    EXPECT_LT(logExpected, -750.0);
    EXPECT_EQ(result.probabilityOfEvidence, 0.0);
    EXPECT_NEAR(result.logProbabilityOfEvidence, logExpected, 1e-12 * std::abs(logExpected));
    EXPECT_NEAR(result.posteriors[middle][1], joint[1] / (joint[0] + joint[1]), tolerance);
    EXPECT_EQ(result.posteriors[length - 1][1], 1.0);
}

TEST(JunctionTree, AClusterOfHundredsOfMessagesDoesNotUnderflow) {
    // A root with 1,100 binary children, one observed: each unobserved
    // child's message to the root's clique is (1/2, 1/2), and their product
    // alone is below the smallest double.
    Network network;
    addVariable(network, 2, {}, {0.5, 0.5});
    for (int k = 0; k < 1100; ++k) addVariable(network, 2, {0}, {0.9, 0.1, 0.2, 0.8});
    const auto result = JunctionTree(network).infer(Evidence{{{1, 0}}, {}});
    EXPECT_NEAR(result.probabilityOfEvidence, 0.55, 1e-12);
    EXPECT_NEAR(result.posteriors[0][0], 0.45 / 0.55, 1e-12);
    EXPECT_NEAR(result.posteriors[2][0], (0.45 * 0.9 + 0.1 * 0.2) / 0.55, 1e-12);
}

TEST(JunctionTree, RefusesImpossibleAndMalformedEvidence) {
    Network network;
    addVariable(network, 2, {}, {0.4, 0.6});
    addVariable(network, 3, {0}, {1.0, 0.0, 0.0, 0.2, 0.3, 0.5});
    const JunctionTree tree(network);
    const auto message = [&](std::map<int, int> hard, std::map<int, std::vector<double>> likelihood = {}) {
        return testing_support::messageOf<samplenet::EvidenceError>([&] { tree.infer(Evidence{hard, likelihood}); });
    };
    const std::string impossible = "the evidence is impossible under the model (probability 0)";
    EXPECT_EQ(message({{0, 0}, {1, 2}}), impossible);
    EXPECT_EQ(message({}, {{1, {0.0, 0.7, 1.0}}, {0, {1.0, 0.0}}}), impossible);
    EXPECT_EQ(message({{1, 0}}, {{1, {0.0, 1.0, 1.0}}}), impossible);
    EXPECT_EQ(message({{2, 0}}), "evidence on variable index 2, but the network has 2 variables");
    EXPECT_EQ(message({{1, 3}}), "state index 3 of \"v1\" is out of range; it has 3 states");
    EXPECT_EQ(message({}, {{0, {1.0}}}), "likelihood of \"v0\" has 1 values; expected one per state (2)");
    EXPECT_EQ(message({}, {{0, {1.0, -0.5}}}), "likelihood of \"v0\" has an entry that is not a finite non-negative number");
    EXPECT_EQ(message({}, {{0, {0.0, 0.0}}}), "likelihood of \"v0\" is zero for every state");
    // The tree is still usable after refusing.
    EXPECT_NEAR(tree.infer(Evidence{{{1, 0}}, {}}).posteriors[0][0], 0.4 / (0.4 + 0.6 * 0.2), tolerance);
}

TEST(JunctionTree, RefusesNetworksWhoseTablesItCannotIndex) {
    const auto message = [](Network network) {
        return testing_support::messageOf<samplenet::ModelError>([&] { JunctionTree tree(network); });
    };
    Network shortTable = exact_testing::chain(2);
    shortTable.variables[1].table.pop_back();
    EXPECT_EQ(message(shortTable), "variable 'V1' has 3 table entries, expected 4");
    Network strayParent = exact_testing::chain(2);
    strayParent.variables[1].parents = {5};
    EXPECT_EQ(message(strayParent), "variable 'V1' has an invalid parent index 5");
    Network twiceParent = exact_testing::chain(2);
    twiceParent.variables[1].parents = {0, 0};
    twiceParent.variables[1].table.assign(8, 0.5);
    EXPECT_EQ(message(twiceParent), "variable 'V1' lists a parent twice");
    EXPECT_EQ(JunctionTree(Network{}).infer({}).posteriors.size(), 0u);
}

}  // namespace
