#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>

#include "lib/model/errors.h"
#include "lib/queries/approximate_explanation.h"
#include "lib/queries/joint_posterior.h"
#include "lib/queries/most_probable_explanation.h"
#include "tests/support/brute_force.h"
#include "tests/support/random_network.h"
#include "tests/support/test_networks.h"
#include "tests/support/tiny_network.h"

namespace {

using samplenet::Evidence;
using testing_support::withHardEvidence;
using testing_support::TinyNet;

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
        samplenet::InferenceOptions options;
        options.samples = 5000;
        options.seed = trial;
        options.jobs = 1 + trial % 2;
        options.algorithm = trial % 3 ? samplenet::Algorithm::Epis : samplenet::Algorithm::Ais;
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

TEST(JointPosterior, EqualsEnumeration) {
    std::mt19937 rng(5);
    for (int trial = 0; trial < 40; ++trial) {
        const TinyNet net = testing_support::randomNetwork(rng, {7, 3, 3, 0.2, false});
        const samplenet::Network network = testing_support::toNetwork(net);
        Evidence evidence = withHardEvidence(testing_support::sampledEvidence(rng, net, 0.3));
        if (trial % 2 && !evidence.hard.count(1)) {
            evidence.likelihood[1] = std::vector<double>(net.states[1], 0.2);
            evidence.likelihood[1][0] = 1.0;
        }
        // Three variables in a shuffled order, observed ones among them.
        std::vector<int> variables(net.size());
        std::iota(variables.begin(), variables.end(), 0);
        std::shuffle(variables.begin(), variables.end(), rng);
        variables.resize(3);
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

}  // namespace
