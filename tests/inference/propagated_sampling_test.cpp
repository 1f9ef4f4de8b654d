// Sampling from converged propagation (-a bpis) against exact inference:
// exact tables on polytrees, loopy bundled networks with hard and
// likelihood evidence, the refinement's tallies far outside double's range,
// and the run's contract.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <stdexcept>

#include "lib/exact/junction_tree.h"
#include "lib/formats/formats.h"
#include "lib/inference/inference.h"
#include "lib/inference/proposal_refinement.h"
#include "lib/inference/sequential_propagation.h"
#include "tests/support/random_network.h"
#include "tests/support/sampling_options.h"
#include "tests/support/tiny_network.h"

namespace {

using namespace samplenet;

InferenceOptions bpis(int samples = 20000) {
    return testing_support::samplingOptions(Algorithm::Propagated, samples, 7);
}

// On a tree (a parent at most per variable) converged propagation is
// exact, and a variable's posterior given its parent is its posterior given
// everything drawn before it; so with no epsilon every sample weighs P(e).
// (Two parents of an observed child would make the tables approximate even
// on a polytree: the earlier-drawn one says something about the other.)
TEST(PropagatedSampling, DrawsFromThePosteriorItselfOnTrees) {
    std::mt19937 rng(3);
    testing_support::RandomNetworkShape shape;
    shape.variables = 9;
    shape.maxParents = 1;
    for (int trial = 0; trial < 5; ++trial) {
        const testing_support::TinyNet tiny = testing_support::randomNetwork(rng, shape);
        const Network network = testing_support::toNetwork(tiny);
        const std::vector<int> observed = testing_support::sampledEvidence(rng, tiny, 0.4);
        Evidence evidence;
        for (int v = 0; v < tiny.size(); ++v)
            if (observed[v] >= 0) evidence.hard[v] = observed[v];
        InferenceOptions options = bpis(2000);
        options.epis.epsilon1 = options.epis.epsilon2 = options.epis.epsilon3 = options.epis.epsilon4 = 0.0;
        const InferenceResult result = infer(network, evidence, options);
        const ExactResult exact = JunctionTree(network).infer(evidence);
        EXPECT_NEAR(result.sampling->errors.effectiveSampleSize, 2000.0, 1e-6) << "trial " << trial;
        EXPECT_NEAR(*result.logProbabilityOfEvidence, exact.logProbabilityOfEvidence, 1e-9) << "trial " << trial;
        std::vector<int> state(network.size(), -1);
        for (const auto& [v, s] : evidence.hard) state[v] = s;
        const ChildMessages messages =
            propagateSequentially(network, state, std::vector<char>(network.size(), 1), {});
        EXPECT_TRUE(messages.converged);
        EXPECT_LT(messages.sweeps, 2 * network.size());
    }
}

TEST(PropagatedSampling, MatchesExactInferenceOnLoopyNetworks) {
    for (const char* name : {"alarm", "child"}) {
        const Network network = readNetwork(std::string(SAMPLENET_TEST_DATA "/networks/") + name + ".bif.gz");
        Evidence evidence;
        evidence.hard[network.size() - 1] = 1;
        evidence.hard[network.size() / 3] = 0;
        const int soft = network.size() / 2;
        evidence.likelihood[soft] = std::vector<double>(network.variables[soft].stateCount(), 0.5);
        evidence.likelihood[soft][0] = 2.0;
        const InferenceResult result = infer(network, evidence, bpis());
        const ExactResult exact = JunctionTree(network).infer(evidence);
        for (std::size_t v = 0; v < exact.posteriors.size(); ++v)
            for (std::size_t s = 0; s < exact.posteriors[v].size(); ++s)
                EXPECT_NEAR(result.posteriors[v][s], exact.posteriors[v][s], 5 * result.standardErrors[v][s] + 1e-9)
                    << name << " variable " << v << " state " << s;
        EXPECT_NEAR(*result.logProbabilityOfEvidence, exact.logProbabilityOfEvidence,
                    5 * *result.probabilityOfEvidenceRelativeError + 1e-9)
            << name;
    }
}

// Weights of 2^-3000 and below, from two jobs at scales a thousand binary
// places apart: the conditional they estimate comes out whole.
TEST(PropagatedSampling, RefinesFromWeightsOutsideTheRangeOfDouble) {
    const std::vector<double> prior{0.5, 0.5};
    const SamplingPlan plan({SamplingPlan::HostNode{-1, 2, {}, prior.data(), prior.data(), true}});
    FamilyTallies first(plan), second(plan);
    const std::uint16_t zeros[] = {0, 0, 1};
    const std::uint16_t ones[] = {1, 1, 0};
    const double weights[] = {0.5, 0.5, 0.0};  // the third sample has none
    const int small[] = {-3000, -3000, 0};
    const int smaller[] = {-4000, -4000, 0};
    first.observe(zeros, 3, 3, weights, small);
    second.observe(ones, 3, 3, weights, smaller);
    second.merge(first);
    std::vector<double> importance = prior;
    refineColumns(importance.data(), prior.data(), second.of(plan.nodes[0]), 2, 2, 1.0, 0.0);
    // State 0 holds all but 2^-1000 of the weight, of two effective
    // samples: the column moves 2 / (2 + 30) of the way there.
    EXPECT_NEAR(importance[0], 0.5 + 0.5 / 16, 1e-12);

    // Of weights 3 : 1 on states 0 and 1, with many effective samples.
    FamilyTallies many(plan);
    std::vector<std::uint16_t> drawn(4000);
    std::vector<double> w(4000);
    std::vector<int> exponents(4000, -5000);
    for (int j = 0; j < 4000; ++j) {
        drawn[j] = static_cast<std::uint16_t>(j % 2);
        w[j] = j % 2 == 0 ? 0.75 : 0.25;
    }
    many.observe(drawn.data(), 4000, 4000, w.data(), exponents.data());
    importance = prior;
    refineColumns(importance.data(), prior.data(), many.of(plan.nodes[0]), 2, 2, 1.0, 0.0);
    EXPECT_GT(importance[0], 0.74);
    EXPECT_LT(importance[0], 0.75);
    EXPECT_NEAR(importance[0] + importance[1], 1.0, 1e-12);
    // Epsilon keeps a state the model allows within reach.
    importance = {1.0, 0.0};
    keepAtLeast(importance.data(), prior.data(), 2, 0.01);
    EXPECT_NEAR(importance[1], 0.01 / 1.01, 1e-12);
}

TEST(PropagatedSampling, KeepsItsContract) {
    const Network alarm = readNetwork(SAMPLENET_TEST_DATA "/networks/alarm.bif.gz");
    const Evidence evidence{{{*alarm.indexOf("BP"), 0}}, {}};
    InferenceOptions options = bpis(3000);
    const InferenceResult once = infer(alarm, evidence, options);
    EXPECT_EQ(infer(alarm, evidence, options).posteriors, once.posteriors);

    options.queried = {*alarm.indexOf("HR")};
    const InferenceResult queried = infer(alarm, evidence, options);
    EXPECT_TRUE(queried.valid[*alarm.indexOf("HR")]);
    EXPECT_FALSE(queried.valid[*alarm.indexOf("CVP")]);

    InferenceOptions joint = bpis();
    joint.joint = {0, 1};
    EXPECT_THROW(infer(alarm, evidence, joint), std::invalid_argument);
    InferenceOptions best = bpis();
    best.keepBestSamples = 3;
    EXPECT_THROW(infer(alarm, evidence, best), std::invalid_argument);
    InferenceOptions damped = bpis();
    damped.damping = 1.0;
    EXPECT_THROW(infer(alarm, evidence, damped), std::invalid_argument);
    // Enough for the tables' four copies every algorithm needs, not for
    // the messages and importance tables besides.
    std::size_t entries = 0;
    for (const Variable& variable : alarm.variables) entries += variable.table.size();
    InferenceOptions tight = bpis();
    tight.memoryLimitBytes = 4 * sizeof(double) * entries;
    EXPECT_THROW(infer(alarm, evidence, tight), NetworkTooLargeError);
}

}  // namespace
