#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <deque>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

#include "lib/formats/evidence_parser.h"
#include "lib/formats/formats.h"
#include "lib/queries/configuration_weights.h"
#include "lib/queries/maximum_a_posteriori.h"
#include "lib/queries/query_choice.h"
#include "lib/queries/sampled_map.h"
#include "tests/support/sampling_options.h"
#include "tests/support/test_networks.h"
#include "tests/support/tiny_network.h"
#include "tests/support/error_message.h"

namespace {

using samplenet::Algorithm;
using samplenet::ConfigurationWeights;
using samplenet::Evidence;
using samplenet::Network;

// A block of four samples over three rows, the third sample without weight.
struct Block {
    std::vector<std::uint16_t> states = {0, 1, 0, 0,   // row 0
                                         5, 5, 5, 5,   // row 1: not watched
                                         1, 0, 1, 1};  // row 2
    std::vector<double> weights = {0.5, 0.25, 0.0, 0.5};
    std::vector<int> exponents = {0, 0, 0, 0};
};

TEST(ConfigurationWeights, AddUpEachConfigurationsShareWithItsRatioError) {
    Block block;
    ConfigurationWeights weights({0, 2}, 16);
    weights.observe(block.states.data(), 4, 4, block.weights.data(), block.exponents.data());
    ASSERT_EQ(weights.size(), 2u);  // the sample without weight is not a configuration
    const auto shares = weights.heaviest(5);
    ASSERT_EQ(shares.size(), 2u);
    EXPECT_EQ(shares[0].states, (std::vector<int>{0, 1}));
    EXPECT_EQ(shares[1].states, (std::vector<int>{1, 0}));
    EXPECT_DOUBLE_EQ(shares[0].probability, 0.8);
    EXPECT_DOUBLE_EQ(shares[1].probability, 0.2);
    // sum w^2 (1[x] - p)^2 / W^2 = (0.5^2 * 0.2^2 * 2 + 0.25^2 * 0.8^2) / 1.25^2
    const double expected = std::sqrt((2 * 0.25 * 0.04 + 0.0625 * 0.64) / (1.25 * 1.25));
    EXPECT_NEAR(shares[0].standardError, expected, 1e-15);
    EXPECT_NEAR(shares[1].standardError, expected, 1e-15);
    EXPECT_EQ(weights.missedShare(), 0.0);
}

// Weights far outside double's range keep their proportions, jobs merge to
// what one table over all their samples holds, and a full table counts the
// weight of what it could not keep.
TEST(ConfigurationWeights, KeepScaleMergeAndCountWhatTheyMiss) {
    Block block;
    block.exponents = {-3000, -3000, 0, -2999};  // the last weighs twice the first
    ConfigurationWeights tiny({0, 2}, 16);
    tiny.observe(block.states.data(), 4, 4, block.weights.data(), block.exponents.data());
    EXPECT_DOUBLE_EQ(tiny.heaviest(1)[0].probability, 1.5 / 1.75);

    Block ones;
    ConfigurationWeights all({0, 2}, 16), first({0, 2}, 16), second({0, 2}, 16);
    all.observe(ones.states.data(), 4, 4, ones.weights.data(), ones.exponents.data());
    all.observe(block.states.data(), 4, 2, block.weights.data(), ones.exponents.data());
    first.observe(ones.states.data(), 4, 4, ones.weights.data(), ones.exponents.data());
    second.observe(block.states.data(), 4, 2, block.weights.data(), ones.exponents.data());
    first.merge(second);
    const auto merged = first.heaviest(2), direct = all.heaviest(2);
    for (std::size_t k = 0; k < 2; ++k) {
        EXPECT_EQ(merged[k].states, direct[k].states);
        EXPECT_NEAR(merged[k].probability, direct[k].probability, 1e-15);
        EXPECT_NEAR(merged[k].standardError, direct[k].standardError, 1e-15);
    }

    ConfigurationWeights full({0, 2}, 1);
    full.observe(ones.states.data(), 4, 4, ones.weights.data(), ones.exponents.data());
    EXPECT_EQ(full.size(), 1u);
    EXPECT_DOUBLE_EQ(full.missedShare(), 0.2);
    EXPECT_DOUBLE_EQ(full.heaviest(3)[0].probability, 0.8);
}

Network bundled(const std::string& name) {
    return samplenet::readNetwork(std::string(SAMPLENET_TEST_DATA) + "/networks/" + name + ".bif.gz");
}

// Sets whose exact best and second best lie at least 20% apart: each
// sampler finds the exact answer, and its estimates lie within a few of
// their standard errors of the exact probabilities.
TEST(SampledMaximumAPosteriori, FindsTheExactStatesOnBundledNetworks) {
    struct Case {
        std::string network, observed;
        std::vector<std::string> nodes;
        Algorithm algorithm;
    };
    const std::vector<Case> cases = {
        {"asia", "dysp=yes", {"tub", "lung", "smoke"}, Algorithm::Epis},
        {"child", "LowerBodyO2=<5", {"Disease", "Sick", "LVH"}, Algorithm::Ais},
        {"insurance", "Accident=Severe", {"Age", "DrivingSkill"}, Algorithm::Propagated},
        {"alarm", "HRBP=HIGH", {"HR", "CO", "BP"}, Algorithm::Epis},
        {"alarm", "BP=LOW", {"LVFAILURE", "HYPOVOLEMIA", "CO"}, Algorithm::MiniBucket},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.network + " by " + std::string(samplenet::algorithmName(c.algorithm)));
        const Network network = bundled(c.network);
        Evidence evidence;
        samplenet::addEvidenceAssignment(network, c.observed, evidence);
        std::vector<int> variables;
        for (const auto& name : c.nodes) variables.push_back(network.indexOf(name).value());
        const auto exact = samplenet::maximumAPosteriori(network, evidence, variables);
        const auto sampled = samplenet::sampledMaximumAPosteriori(
            network, evidence, variables, testing_support::samplingOptions(c.algorithm, 10000, 11));
        EXPECT_EQ(sampled.explanation.states, exact.states);
        EXPECT_FALSE(sampled.explanation.exact);
        EXPECT_TRUE(sampled.explanation.estimated);
        EXPECT_NEAR(sampled.explanation.logJoint, exact.logJoint, 4 * sampled.explanation.logJointError + 1e-6);
        EXPECT_NEAR(sampled.explanation.logPosterior, exact.logPosterior,
                    4 * sampled.explanation.logPosteriorError + 1e-6);
        EXPECT_TRUE(sampled.report.localOptimum);
        EXPECT_GE(sampled.report.scored, 1 + static_cast<int>(variables.size()));
    }
}

// A set whose summing-first elimination exceeds the memory limit: auto says
// so and answers by sampling, where exact refuses.
TEST(SampledMaximumAPosteriori, IsWhatAutoFallsBackToWhereTheEliminationDoesNotFit) {
    const Network andes = bundled("andes");
    std::vector<int> variables;
    for (int v = 9; v < andes.size() && variables.size() < 20; v += 10) variables.push_back(v);
    samplenet::InferenceOptions options = testing_support::samplingOptions(Algorithm::Auto, 2000, 3);
    options.memoryLimitBytes = std::size_t{1} << 20;
    const auto run = samplenet::mostProbableStates(andes, {}, variables, options);
    EXPECT_EQ(run.algorithm, Algorithm::Epis);
    EXPECT_NE(run.choice.find("exact elimination does not fit"), std::string::npos) << run.choice;
    EXPECT_NE(run.choice.find("approximate:"), std::string::npos) << run.choice;
    ASSERT_TRUE(run.sampling.has_value());
    for (int v : variables) EXPECT_GE(run.answer.states[v], 0);
    options.algorithm = Algorithm::Exact;
    EXPECT_THROW(samplenet::mostProbableStates(andes, {}, variables, options), samplenet::ExactMemoryError);
}

// A search that runs out of time answers with what it scored, and says so.
TEST(SampledMaximumAPosteriori, StopsAtItsTimeBudgetAndSaysSo) {
    const Network alarm = bundled("alarm");
    std::vector<int> variables(12);
    std::iota(variables.begin(), variables.end(), 0);
    const auto options = testing_support::samplingOptions(Algorithm::Epis, 2000, 5);
    const auto run = samplenet::sampledMaximumAPosteriori(alarm, {}, variables, options, 0.0);
    EXPECT_FALSE(run.report.localOptimum);
    EXPECT_NE(run.report.how.find("stopped by the time budget"), std::string::npos) << run.report.how;
    EXPECT_EQ(run.report.candidates, 1);
    EXPECT_EQ(run.report.scored, 1);  // the start alone
    for (int v : variables) EXPECT_GE(run.explanation.states[v], 0);
    EXPECT_TRUE(std::isfinite(run.explanation.logJoint));
}

TEST(SampledMaximumAPosteriori, RefusesWhatItCannotDo) {
    const Network chain = testing_support::toNetwork(testing_support::chain(70));
    std::vector<int> all(70);
    std::iota(all.begin(), all.end(), 0);
    auto options = testing_support::samplingOptions(Algorithm::Epis, 1000, 1);
    const std::string refusal = testing_support::messageOf<std::invalid_argument>(
        [&] { samplenet::sampledMaximumAPosteriori(chain, {}, all, options); });
    EXPECT_NE(refusal.find("at most 64 unobserved chosen nodes, not 70"), std::string::npos) << refusal;
    // Observed ones do not count.
    Evidence evidence;
    for (int v = 0; v < 64; ++v) evidence.hard[v] = 0;
    EXPECT_NO_THROW(samplenet::sampledMaximumAPosteriori(chain, evidence, all, options));
}

// Watching the samples leaves the run's answers as they were, bit for bit,
// with one job or several; algorithms that show no samples refuse a watch.
TEST(SampleWatch, ChangesNoResultAndIsRefusedWhereThereAreNoSamples) {
    class Counting : public samplenet::SampleWatch {
    public:
        std::vector<samplenet::BlockObserver*> observers(const std::vector<std::size_t>& rowOf, int jobs) override {
            for (int k = 0; k < jobs; ++k) tables.emplace_back(std::vector<std::size_t>{rowOf[0], rowOf[3]}, 64);
            std::vector<samplenet::BlockObserver*> shown;
            for (auto& table : tables) shown.push_back(&table);
            return shown;
        }
        std::deque<ConfigurationWeights> tables;
    };
    const Network network = testing_support::toNetwork(testing_support::threeLayerLoopy());
    Evidence evidence;
    evidence.hard[6] = 1;
    for (Algorithm algorithm : {Algorithm::Epis, Algorithm::Ais, Algorithm::Propagated})
        for (int jobs : {1, 2}) {
            auto options = testing_support::samplingOptions(algorithm, 5000, 7);
            options.jobs = jobs;
            const auto plain = samplenet::infer(network, evidence, options);
            Counting watch;
            options.watch = &watch;
            const auto watched = samplenet::infer(network, evidence, options);
            EXPECT_EQ(watched.posteriors, plain.posteriors);
            EXPECT_EQ(watched.logProbabilityOfEvidence, plain.logProbabilityOfEvidence);
            ASSERT_EQ(watch.tables.size(), static_cast<std::size_t>(jobs));
            std::size_t seen = 0;
            for (const auto& table : watch.tables) seen += table.size();
            EXPECT_GT(seen, 1u);
        }
    for (Algorithm algorithm : {Algorithm::Exact, Algorithm::Lbp, Algorithm::MiniBucket}) {
        Counting watch;
        auto options = testing_support::samplingOptions(algorithm, 1000, 1);
        options.watch = &watch;
        EXPECT_EQ(testing_support::messageOf<std::invalid_argument>([&] { samplenet::infer(network, evidence, options); }),
                  std::string(samplenet::algorithmName(algorithm)) + " shows no samples to watch; use epis, ais or bpis");
    }
}

}  // namespace
