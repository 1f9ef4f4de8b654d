#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>

#include "lib/inference/inference.h"
#include "lib/queries/joint_posterior.h"
#include "lib/queries/query_choice.h"
#include "tests/support/random_network.h"
#include "tests/support/test_networks.h"
#include "tests/support/tiny_network.h"
#include "tests/support/sampling_options.h"

namespace {

using samplenet::Algorithm;
using samplenet::Evidence;
using samplenet::InferenceOptions;
using testing_support::TinyNet;
using testing_support::samplingOptions;

constexpr long kSeed = 29;

// The samplers' joint table lies within a few of its standard errors of the
// exact one, entry by entry (a table laid out in another order would not),
// and summing it over the others gives each variable's posterior of the
// same run.
TEST(SampledJointPosterior, AgreesWithTheExactTableAndWithTheRunsMarginals) {
    std::mt19937 rng(8);
    int compared = 0;
    for (int trial = 0; trial < 16; ++trial) {
        const TinyNet net = testing_support::randomNetwork(rng, {7, 3, 3, 0.2, false});
        const samplenet::Network network = testing_support::toNetwork(net);
        Evidence evidence = testing_support::withHardEvidence(testing_support::sampledEvidence(rng, net, 0.3));
        if (trial % 2 && !evidence.hard.count(2)) evidence.likelihood[2] = std::vector<double>(net.states[2], 0.3);
        if (trial % 2 && !evidence.hard.count(2)) evidence.likelihood[2][0] = 1.0;
        // Three variables in a shuffled order, observed ones among them.
        std::vector<int> variables(net.size());
        std::iota(variables.begin(), variables.end(), 0);
        std::shuffle(variables.begin(), variables.end(), rng);
        variables.resize(3);
        SCOPED_TRACE("trial " + std::to_string(trial));

        const auto exact = samplenet::exactJointPosterior(network, evidence, variables);
        InferenceOptions options = samplingOptions(trial % 4 == 3 ? Algorithm::Ais : Algorithm::Epis, 40000, kSeed);
        options.joint = variables;
        const auto result = samplenet::infer(network, evidence, options);
        ASSERT_TRUE(result.joint.has_value());
        const samplenet::JointPosterior& joint = *result.joint;
        EXPECT_EQ(joint.variables, variables);
        ASSERT_EQ(joint.probabilities.size(), exact.probabilities.size());
        ASSERT_EQ(joint.standardErrors.size(), exact.probabilities.size());
        for (std::size_t k = 0; k < exact.probabilities.size(); ++k) {
            EXPECT_NEAR(joint.probabilities[k], exact.probabilities[k], 5 * joint.standardErrors[k] + 0.004) << k;
            ++compared;
        }

        // The joint's strides: the last variable varies fastest.
        std::size_t stride = 1;
        for (std::size_t d = variables.size(); d-- > 0;) {
            const int v = variables[d];
            std::vector<double> share(net.states[v], 0.0);
            for (std::size_t k = 0; k < joint.probabilities.size(); ++k)
                share[k / stride % net.states[v]] += joint.probabilities[k];
            for (int s = 0; s < net.states[v]; ++s) EXPECT_NEAR(share[s], result.posteriors[v][s], 1e-12) << v;
            stride *= net.states[v];
        }
    }
    EXPECT_GT(compared, 100);
}

// Asking only for some variables leaves their numbers as they were, bit for
// bit, and the others out; a target error is then judged by them alone.
TEST(QueriedSampling, AddsUpOnlyTheQueriedVariablesWithTheSameNumbers) {
    const TinyNet net = testing_support::threeLayerLoopy();
    const samplenet::Network network = testing_support::toNetwork(net);
    const Evidence evidence{{{5, 1}}, {{2, {0.2, 1.0}}}};
    for (int jobs : {1, 2}) {
        InferenceOptions options = samplingOptions(Algorithm::Epis, 20000, kSeed);
        options.jobs = jobs;
        const auto all = samplenet::infer(network, evidence, options);
        options.queried = {3, 0, 5};
        const auto some = samplenet::infer(network, evidence, options);
        SCOPED_TRACE("jobs " + std::to_string(jobs));
        for (int v = 0; v < net.size(); ++v) {
            const bool queried = v == 0 || v == 3 || v == 5;
            EXPECT_EQ(some.valid[v], queried) << v;
            EXPECT_EQ(some.posteriors[v], queried ? all.posteriors[v] : std::vector<double>{}) << v;
            EXPECT_EQ(some.standardErrors[v], queried ? all.standardErrors[v] : std::vector<double>{}) << v;
        }
        EXPECT_EQ(some.logProbabilityOfEvidence, all.logProbabilityOfEvidence);
    }

    InferenceOptions target = samplingOptions(Algorithm::Epis, 1000000, kSeed);
    target.targetError = 0.005;
    const auto all = samplenet::infer(network, evidence, target);
    target.queried = {0};
    const auto some = samplenet::infer(network, evidence, target);
    EXPECT_TRUE(some.sampling->targetMet.value());
    EXPECT_LT(*some.samplesDrawn, *all.samplesDrawn);
}

TEST(SampledJointPosterior, RefusesRepeatedOrUnknownVariablesAndTablesAboveTheLimit) {
    const TinyNet net = testing_support::threeLayerLoopy();
    const samplenet::Network network = testing_support::toNetwork(net);
    InferenceOptions options = samplingOptions(Algorithm::Epis, 100, kSeed);
    options.joint = {1, 1};
    EXPECT_THROW(samplenet::infer(network, {}, options), std::invalid_argument);
    options.joint = {net.size()};
    EXPECT_THROW(samplenet::infer(network, {}, options), std::invalid_argument);
    options.joint = {};
    options.queried = {-1};
    EXPECT_THROW(samplenet::infer(network, {}, options), std::invalid_argument);
    // Every job holds two sums per entry of the joint table: 8 jobs of a
    // table of every variable pass the network's copies but not that.
    options.queried = {};
    options.joint.resize(net.size());
    std::iota(options.joint.begin(), options.joint.end(), 0);
    std::size_t entries = 1;
    for (int states : net.states) entries *= static_cast<std::size_t>(states);
    options.jobs = 8;
    options.memoryLimitBytes = entries * 16 * 8 - 1;
    EXPECT_THROW(samplenet::infer(network, {}, options), samplenet::NetworkTooLargeError);
    options.memoryLimitBytes += 1;
    EXPECT_TRUE(samplenet::infer(network, {}, options).joint.has_value());
    // Loopy propagation has no joint to give.
    options.algorithm = Algorithm::Lbp;
    EXPECT_THROW(samplenet::jointPosterior(network, {}, {0, 1}, options), std::invalid_argument);
}

}  // namespace
