#include "lib/exact/exact_query.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

#include "lib/benchmark/evidence_cases.h"
#include "lib/exact/relevant_factors.h"
#include "lib/formats/formats.h"
#include "lib/model/errors.h"
#include "tests/exact/exact_test_networks.h"
#include "tests/support/error_message.h"

namespace {

using exact_testing::addVariable;
using exact_testing::expectAnswers;
using samplenet::Evidence;
using samplenet::ExactResult;
using samplenet::inferExactly;
using samplenet::Network;

// All variables, one, a random third, and the observed ones alone.
std::vector<std::vector<int>> queries(const Network& network, const Evidence& evidence, std::mt19937& rng) {
    std::vector<std::vector<int>> result{{}, {static_cast<int>(rng() % network.size())}, {}, {}};
    for (int v = 0; v < network.size(); ++v) {
        if (rng() % 3 == 0) result[2].push_back(v);
        if (evidence.hard.count(v) || evidence.likelihood.count(v)) result[3].push_back(v);
    }
    if (result[2].empty()) result[2].push_back(0);
    if (result[3].empty()) result.pop_back();
    return result;
}

TEST(ExactQuery, AgreesWithEnumerationForEveryKindOfQueryAndEvidence) {
    for (unsigned seed = 1; seed <= 12; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const Network network = exact_testing::randomNetwork(seed, 7 + seed % 5, 2 + seed % 3);
        std::mt19937 rng(seed);
        for (const Evidence& evidence : exact_testing::evidenceCases(network, seed)) {
            const auto truth = exact_testing::enumerate(network, evidence);
            for (const auto& queried : queries(network, evidence, rng))
                expectAnswers(inferExactly(network, evidence, queried), truth.posteriors,
                              std::log(truth.probabilityOfEvidence), queried);
        }
    }
}

// Likely and unlikely cases as the benchmark draws them (on the networks
// with large junction trees, whose search for unlikely cases is slow, one
// forward-sampled case), the first also with likelihoods in place of some
// observations.
std::vector<Evidence> bundledCases(const Network& network, const samplenet::JunctionTree& whole) {
    std::vector<Evidence> cases;
    if (whole.statistics().totalEntries > 1'000'000) {
        cases.push_back(samplenet::forwardSampledEvidence(network, 0.2, 1));
    } else {
        samplenet::CaseOptions options;
        options.likelyCases = 2;
        options.unlikelyCases = 2;
        options.attemptsPerCase = 50;
        for (const auto& drawn : samplenet::generateCases(network, whole, options)) cases.push_back(drawn.evidence);
    }
    Evidence soft = cases.front();
    std::mt19937 rng(3);
    for (auto it = soft.hard.begin(); it != soft.hard.end();) {
        if (rng() % 2 == 0) {
            ++it;
            continue;
        }
        std::vector<double> weights(network.variables[it->first].stateCount());
        for (double& w : weights) w = 0.1 + (rng() % 100) / 100.0;
        soft.likelihood[it->first] = weights;
        it = soft.hard.erase(it);
    }
    cases.push_back(soft);
    return cases;
}

class BundledNetworkQuery : public testing::TestWithParam<std::string> {};

TEST_P(BundledNetworkQuery, MatchesTheWholeJunctionTree) {
    const Network network =
        samplenet::readNetwork(std::string(SAMPLENET_TEST_DATA) + "/networks/" + GetParam() + ".bif.gz");
    const samplenet::JunctionTree whole(network);
    std::mt19937 rng(7);
    for (const Evidence& evidence : bundledCases(network, whole)) {
        const ExactResult reference = whole.infer(evidence);
        for (const auto& queried : queries(network, evidence, rng))
            expectAnswers(inferExactly(network, evidence, queried), reference.posteriors,
                          reference.logProbabilityOfEvidence, queried);
    }
}

// All but link, whose whole tree of 26.8 million entries takes half a minute
// under the sanitizers; munin and barley stand for the large ones.
INSTANTIATE_TEST_SUITE_P(Networks, BundledNetworkQuery,
                         testing::Values("asia", "cancer", "earthquake", "survey", "sachs", "child", "insurance",
                                         "alarm", "win95pts", "hailfinder", "hepar2", "andes", "pigs", "barley",
                                         "munin"));

// A -> B -> C, A -> D: the chain's tables and evidence as the pruning sees them.
Network forked() {
    Network network;
    addVariable(network, 2, {}, {0.3, 0.7});
    addVariable(network, 3, {0}, {0.2, 0.3, 0.5, 0.6, 0.3, 0.1});
    addVariable(network, 2, {1}, {0.9, 0.1, 0.5, 0.5, 0.2, 0.8});
    addVariable(network, 2, {0}, {0.4, 0.6, 0.7, 0.3});
    return network;
}

samplenet::EvidenceWeights weightsOf(const Network& network, const Evidence& evidence) {
    std::vector<int> counts;
    for (const auto& variable : network.variables) counts.push_back(variable.stateCount());
    return samplenet::evidenceWeights(evidence, counts, [](int v) { return std::to_string(v); });
}

TEST(RelevantFactors, LeavesOutBarrenVariablesAndAbsorbsObservations) {
    const Network network = forked();
    {
        // Nothing observed, B queried: C and D sum out.
        const samplenet::RelevantFactors relevant(network, weightsOf(network, {}), {0, 1, 0, 0});
        EXPECT_EQ(relevant.original, (std::vector<int>{0, 1}));
        EXPECT_EQ(relevant.model.factors.size(), 2u);
        EXPECT_EQ(relevant.logScale, 0.0);
    }
    {
        // C observed in state 1 with likelihood weight 0.5: it leaves B's
        // child table, which keeps the column of state 1.
        const Evidence evidence{{{2, 1}}, {{2, {2.0, 0.5}}}};
        const samplenet::RelevantFactors relevant(network, weightsOf(network, evidence), {0, 0, 0, 1});
        EXPECT_EQ(relevant.original, (std::vector<int>{0, 1, 3}));
        EXPECT_EQ(relevant.observed, (std::vector<int>{-1, -1, 1, -1}));
        EXPECT_DOUBLE_EQ(relevant.logScale, std::log(0.5));
        const auto& sliced = relevant.model.factors[2];
        EXPECT_EQ(sliced.variables, (std::vector<int>{1}));
        EXPECT_EQ(std::vector<double>(sliced.values, sliced.values + 3), (std::vector<double>{0.1, 0.5, 0.8}));
    }
    {
        // A observed: its table is a constant, and B's and D's lose it.
        const Evidence evidence{{{0, 1}}, {}};
        const samplenet::RelevantFactors relevant(network, weightsOf(network, evidence), {});
        EXPECT_EQ(relevant.original, (std::vector<int>{1, 2, 3}));
        EXPECT_DOUBLE_EQ(relevant.logScale, std::log(0.7));
        EXPECT_EQ(relevant.model.factors.size(), 3u);
        EXPECT_EQ(relevant.model.factors[0].variables, (std::vector<int>{0}));
        EXPECT_EQ(std::vector<double>(relevant.model.factors[0].values, relevant.model.factors[0].values + 3),
                  (std::vector<double>{0.6, 0.3, 0.1}));
    }
}

TEST(ExactQuery, RefusesImpossibleEvidenceAndBadQueries) {
    Network network;
    addVariable(network, 2, {}, {0.4, 0.6});
    addVariable(network, 3, {0}, {1.0, 0.0, 0.0, 0.2, 0.3, 0.5});
    const auto message = [&](const Evidence& evidence, const std::vector<int>& queried) {
        return testing_support::messageOf<std::exception>([&] { inferExactly(network, evidence, queried); });
    };
    const std::string impossible = "the evidence is impossible under the model (probability 0)";
    // Absorbed into a constant, into a slice, and as a likelihood.
    EXPECT_EQ(message({{{0, 0}, {1, 2}}, {}}, {}), impossible);
    EXPECT_EQ(message({{{1, 1}}, {{0, {1.0, 0.0}}}}, {0}), impossible);
    EXPECT_EQ(message({{}, {{1, {0.0, 0.7, 1.0}}, {0, {1.0, 0.0}}}}, {1}), impossible);
    EXPECT_EQ(message({{{1, 3}}, {}}, {}), "state index 3 of \"v1\" is out of range; it has 3 states");
    EXPECT_EQ(message({}, {2}), "queried variable index 2 is out of range");
}

}  // namespace
