#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>
#include <random>

#include "lib/inference/algorithm.h"
#include "lib/inference/inference.h"
#include "lib/model/errors.h"
#include "lib/queries/approximate_explanation.h"
#include "lib/queries/joint_posterior.h"
#include "lib/queries/most_probable_explanation.h"
#include "lib/queries/query_choice.h"
#include "tests/support/brute_force.h"
#include "tests/support/random_network.h"
#include "tests/support/sampling_options.h"
#include "tests/support/test_networks.h"
#include "tests/support/tiny_network.h"

namespace {

using samplenet::Algorithm;
using samplenet::Evidence;
using samplenet::InferenceOptions;
using testing_support::samplingOptions;
using testing_support::TinyNet;
using testing_support::withHardEvidence;

constexpr long kSeed = 29;

// Every complete assignment with its probability times the likelihoods,
// straight from the tables.
struct Enumeration {
    std::vector<std::vector<int>> assignments;
    std::vector<double> weights;  // P(x, e); 0 where x disagrees with e
};

Enumeration enumerateAll(const TinyNet& net, const Evidence& evidence) {
    Enumeration all;
    testing_support::enumerateJointStates(testing_support::toNetwork(net), {}, [&](const std::vector<int>& x, double weight) {
        for (const auto& [v, state] : evidence.hard)
            if (state != x[v]) weight = 0.0;
        for (const auto& [v, factors] : evidence.likelihood) weight *= factors[x[v]];
        all.assignments.push_back(x);
        all.weights.push_back(weight);
    });
    return all;
}

// Random networks with zeros, evidence drawn from the model (likely), set
// by hand (often unlikely, sometimes impossible), and a likelihood finding.
TEST(MostProbableExplanation, EqualsTheBestOfEveryAssignment) {
    std::mt19937 rng(17);
    int impossible = 0;
    for (int trial = 0; trial < 60; ++trial) {
        const TinyNet net = testing_support::randomNetwork(rng, {7, 3, 3, 0.2, false});
        const samplenet::Network network = testing_support::toNetwork(net);
        Evidence evidence = withHardEvidence(testing_support::sampledEvidence(rng, net, 0.3));
        if (trial % 3 == 1) evidence.hard[trial % net.size()] = net.states[trial % net.size()] - 1;
        if (trial % 3 == 2 && !evidence.hard.count(0)) {
            evidence.likelihood[0] = std::vector<double>(net.states[0], 0.5);
            evidence.likelihood[0][0] = 0.05;
        }
        const Enumeration all = enumerateAll(net, evidence);
        double best = 0.0, total = 0.0;
        for (double weight : all.weights) best = std::max(best, weight), total += weight;
        SCOPED_TRACE("trial " + std::to_string(trial));
        if (total == 0.0) {
            EXPECT_THROW(samplenet::mostProbableExplanation(network, evidence), samplenet::EvidenceError);
            ++impossible;
            continue;
        }
        const auto explanation = samplenet::mostProbableExplanation(network, evidence);
        EXPECT_TRUE(explanation.exact);
        EXPECT_NEAR(explanation.logJoint, std::log(best), 1e-9);
        EXPECT_NEAR(explanation.logPosterior, std::log(best / total), 1e-9);
        // The assignment returned is one that reaches the maximum.
        const auto found = std::find(all.assignments.begin(), all.assignments.end(), explanation.states);
        ASSERT_NE(found, all.assignments.end());
        EXPECT_NEAR(all.weights[found - all.assignments.begin()], best, 1e-12 * best);
    }
    EXPECT_GT(impossible, 0) << "no trial checked impossible evidence";
}

// A thousand observations of probability 1/2 each: P(e) = 2^-1000 is far
// below double's range, the explanation's probabilities are not.
TEST(MostProbableExplanation, StaysExactWhereTheEvidenceUnderflows) {
    TinyNet net;
    const int root = net.add(2, {}, {0.3, 0.7});
    for (int i = 0; i < 1000; ++i) net.add(2, {root}, {0.5, 0.5, 0.5, 0.5});
    Evidence evidence;
    for (int i = 1; i <= 1000; ++i) evidence.hard[i] = i % 2;
    const auto explanation = samplenet::mostProbableExplanation(testing_support::toNetwork(net), evidence);
    EXPECT_EQ(explanation.states[root], 1);
    EXPECT_NEAR(explanation.logJoint, std::log(0.7) + 1000 * std::log(0.5), 1e-9);
    EXPECT_NEAR(explanation.logPosterior, std::log(0.7), 1e-9);
}

// On small networks the samplers draw the most probable explanation among
// their samples; keeping the best sample changes no posterior; and the
// local search never lowers an explanation's probability.
TEST(ApproximateExplanation, FindsTheExactOneOnSmallNetworksAndLeavesThePosteriorsAlone) {
    std::mt19937 rng(29);
    int searched = 0;
    for (int trial = 0; trial < 30; ++trial) {
        const TinyNet net = testing_support::randomNetwork(rng, {8, 3, 3, 0.2, false});
        const samplenet::Network network = testing_support::toNetwork(net);
        const Evidence evidence = withHardEvidence(testing_support::sampledEvidence(rng, net, 0.3));
        const auto exact = samplenet::mostProbableExplanation(network, evidence);
        InferenceOptions options;
        options.samples = 5000;
        options.seed = trial;
        options.jobs = 1 + trial % 2;
        options.algorithm = trial % 3 ? Algorithm::Epis : Algorithm::Ais;
        SCOPED_TRACE("trial " + std::to_string(trial));

        const auto sampled = samplenet::approximateExplanation(network, evidence, options, false);
        EXPECT_FALSE(sampled.exact);
        EXPECT_NEAR(sampled.logJoint, exact.logJoint, 1e-9);
        for (const auto& [v, state] : evidence.hard) EXPECT_EQ(sampled.states[v], state);

        // A poor start: the local search climbs from it without falling.
        std::vector<int> start(net.size(), 0);
        for (const auto& [v, state] : evidence.hard) start[v] = state;
        const double before = samplenet::logJointProbability(network, evidence, start);
        searched += samplenet::improveLocally(network, evidence, start) > 0;
        EXPECT_GE(samplenet::logJointProbability(network, evidence, start), before);
        EXPECT_LE(samplenet::logJointProbability(network, evidence, start), exact.logJoint + 1e-9);

        options.keepBestSamples = 4;
        const auto keeping = samplenet::infer(network, evidence, options);
        options.keepBestSamples = 0;
        const auto plain = samplenet::infer(network, evidence, options);
        EXPECT_EQ(keeping.posteriors, plain.posteriors);
        EXPECT_TRUE(plain.bestSamples.empty());
        // Different samples, best first, the first the exact explanation.
        ASSERT_FALSE(keeping.bestSamples.empty());
        EXPECT_NEAR(samplenet::logJointProbability(network, evidence, keeping.bestSamples.front()), exact.logJoint, 1e-9);
        for (std::size_t k = 1; k < keeping.bestSamples.size(); ++k) {
            EXPECT_NE(keeping.bestSamples[k], keeping.bestSamples[k - 1]);
            EXPECT_LE(samplenet::logJointProbability(network, evidence, keeping.bestSamples[k]),
                      samplenet::logJointProbability(network, evidence, keeping.bestSamples[k - 1]) + 1e-12);
        }
    }
    EXPECT_GT(searched, 5) << "the local search was hardly tried";
}

// A random network with zeros and hard evidence from one forward sample; on
// odd trials a likelihood on `softened` too (unless it is observed), its
// first state weighing 1 and the others `weight`. And three variables in a
// shuffled order, observed ones among them.
struct JointCase {
    TinyNet net;
    samplenet::Network network;
    Evidence evidence;
    std::vector<int> variables;
};

JointCase jointCase(std::mt19937& rng, int trial, int softened, double weight) {
    JointCase c;
    c.net = testing_support::randomNetwork(rng, {7, 3, 3, 0.2, false});
    c.network = testing_support::toNetwork(c.net);
    c.evidence = withHardEvidence(testing_support::sampledEvidence(rng, c.net, 0.3));
    if (trial % 2 && !c.evidence.hard.count(softened)) {
        c.evidence.likelihood[softened] = std::vector<double>(c.net.states[softened], weight);
        c.evidence.likelihood[softened][0] = 1.0;
    }
    c.variables.resize(c.net.size());
    std::iota(c.variables.begin(), c.variables.end(), 0);
    std::shuffle(c.variables.begin(), c.variables.end(), rng);
    c.variables.resize(3);
    return c;
}

TEST(JointPosterior, EqualsEnumeration) {
    std::mt19937 rng(5);
    for (int trial = 0; trial < 40; ++trial) {
        const auto [net, network, evidence, variables] = jointCase(rng, trial, 1, 0.2);
        SCOPED_TRACE("trial " + std::to_string(trial));

        const auto joint = samplenet::exactJointPosterior(network, evidence, variables);
        const Enumeration all = enumerateAll(net, evidence);
        std::vector<double> expected(joint.probabilities.size(), 0.0);
        double total = 0.0;
        for (std::size_t i = 0; i < all.weights.size(); ++i) {
            std::size_t position = 0;
            for (int v : variables) position = position * net.states[v] + all.assignments[i][v];
            expected[position] += all.weights[i];
            total += all.weights[i];
        }
        for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_NEAR(joint.probabilities[i], expected[i] / total, 1e-12);
    }
}

TEST(JointPosterior, RefusesRepeatedOrUnknownVariablesAndTablesAboveTheLimit) {
    const TinyNet net = testing_support::rareFault();
    const samplenet::Network network = testing_support::toNetwork(net);
    EXPECT_THROW(samplenet::exactJointPosterior(network, {}, {1, 1}), samplenet::EvidenceError);
    EXPECT_THROW(samplenet::exactJointPosterior(network, {}, {net.size()}), samplenet::EvidenceError);
    // The memory limit holds for the elimination's tables too.
    samplenet::ExactOptions tiny;
    tiny.memoryLimitBytes = 16;
    EXPECT_THROW(samplenet::mostProbableExplanation(network, {}, tiny), samplenet::ExactMemoryError);
}

// The samplers' joint table lies within a few of its standard errors of the
// exact one, entry by entry (a table laid out in another order would not),
// and summing it over the others gives each variable's posterior of the
// same run.
TEST(SampledJointPosterior, AgreesWithTheExactTableAndWithTheRunsMarginals) {
    std::mt19937 rng(8);
    int compared = 0;
    for (int trial = 0; trial < 16; ++trial) {
        const auto [net, network, evidence, variables] = jointCase(rng, trial, 2, 0.3);
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
}

// Each question beside the marginals is answered by the algorithms that the
// registry says answer it, and the others are refused with its message.
TEST(QueryChoice, AnswersWithTheAlgorithmsTheRegistryNames) {
    using samplenet::Query;
    const samplenet::Network network = testing_support::toNetwork(testing_support::threeLayerLoopy());
    for (const samplenet::AlgorithmEntry& entry : samplenet::algorithms()) {
        const InferenceOptions options = samplingOptions(entry.algorithm, 200, kSeed);
        const std::vector<std::pair<Query, std::function<void()>>> questions{
            {Query::Explanation, [&] { samplenet::explainEvidence(network, {}, options, false); }},
            {Query::MostProbableStates, [&] { samplenet::mostProbableStates(network, {}, {0, 1}, options); }},
            {Query::JointPosterior, [&] { samplenet::jointPosterior(network, {}, {0, 1}, options); }}};
        for (const auto& [query, ask] : questions) {
            const std::string why = samplenet::whyNoAnswer(entry.algorithm, query);
            try {
                ask();
                EXPECT_EQ(why, "") << entry.name << " answered";
            } catch (const std::invalid_argument& error) {
                EXPECT_EQ(error.what(), why) << entry.name;
            }
        }
    }
    EXPECT_EQ(samplenet::whyNoAnswer(Algorithm::Lbp, Query::JointPosterior),
              "lbp gives no joint posterior: use auto, epis, ais or exact");
}

}  // namespace
