// Sampling from converged propagation (-a bpis) against exact inference:
// exact tables on polytrees, loopy bundled networks with hard and
// likelihood evidence, the refinement's tallies far outside double's range,
// determinism the tables cannot see, and the run's contract.
#include <gtest/gtest.h>

#include <random>
#include <stdexcept>

#include "lib/exact/junction_tree.h"
#include "lib/formats/formats.h"
#include "lib/inference/inference.h"
#include "lib/inference/proposal_refinement.h"
#include "lib/inference/sequential_propagation.h"
#include "tests/support/brute_force.h"
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
    const testing_support::RandomNetworkShape shape{.variables = 9, .maxParents = 1};
    for (int trial = 0; trial < 5; ++trial) {
        const testing_support::TinyNet tiny = testing_support::randomNetwork(rng, shape);
        const Network network = testing_support::toNetwork(tiny);
        const std::vector<int> observed = testing_support::sampledEvidence(rng, tiny, 0.4);
        const Evidence evidence = testing_support::withHardEvidence(observed);
        InferenceOptions options = bpis(2000);
        options.epis.epsilon1 = options.epis.epsilon2 = options.epis.epsilon3 = options.epis.epsilon4 = 0.0;
        const InferenceResult result = infer(network, evidence, options);
        const ExactResult exact = JunctionTree(network).infer(evidence);
        EXPECT_NEAR(result.sampling->errors.effectiveSampleSize, 2000.0, 1e-6) << "trial " << trial;
        EXPECT_NEAR(*result.logProbabilityOfEvidence, exact.logProbabilityOfEvidence, 1e-9) << "trial " << trial;
        const ChildMessages messages =
            propagateSequentially(network, observed, std::vector<char>(network.size(), 1), {});
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

// Roots x0..x23 (priors varying) tied by observed parity checks x_i xor
// x_{i+1} into two chains of twelve, each with two consistent assignments,
// and an observed child of d = x0 or x5 that rules out one of the first
// chain's (x0 = x5 = 0). Propagation sees no parity (its messages stay
// uniform), so a sample drawn from the tables meets every check about once
// in 2^20: the first round loses all its samples. Nor does arc consistency
// rule out a state. Backtracking over the zeros meets every check, backing
// up from d to the first chain's roots when x0 = x5 = 0.
const std::vector<int> kHidden{1, 0, 0, 1, 1, 1, 0, 1, 0, 0, 1, 0, 1, 1, 0, 1, 0, 0, 0, 1, 1, 0, 1, 0};

enum class Chains { Consistent, WithoutOr, Inconsistent };

Network parityChains(Chains kind) {
    const int roots = static_cast<int>(kHidden.size());
    Network network;
    const auto add = [&network](const std::string& name, std::vector<int> parents, std::vector<double> table) {
        network.variables.push_back({name, {"s0", "s1"}, std::move(parents), std::move(table), {}});
        return network.size() - 1;
    };
    for (int i = 0; i < roots; ++i) {
        const double one = 0.2 + 0.025 * i;
        add("x" + std::to_string(i), {}, {1.0 - one, one});
    }
    const std::vector<double> parity{1, 0, 0, 1, 0, 1, 1, 0};
    for (int i = 0; i + 1 < roots; ++i)
        if (i != roots / 2 - 1) add("c" + std::to_string(i), {i, i + 1}, parity);
    if (kind != Chains::WithoutOr) {
        const int d = add("d", {0, 5}, {1, 0, 0, 1, 0, 1, 0, 1});
        add("e", {d}, {1.0, 0.0, 0.1, 0.9});
    }
    // An inconsistent cycle: x0 xor x1 and x1 xor x2 as checked, x2 xor x0 not.
    if (kind == Chains::Inconsistent) add("cycle", {2, 0}, parity);
    network.reindex();
    return network;
}

Evidence parityEvidence(const Network& network) {
    Evidence evidence;
    for (int v = 0; v < network.size(); ++v) {
        const Variable& variable = network.variables[v];
        if (variable.name[0] == 'c') {
            const int x = kHidden[variable.parents[0]] ^ kHidden[variable.parents[1]];
            evidence.hard[v] = variable.name == "cycle" ? 1 - x : x;
        }
    }
    if (const auto e = network.indexOf("e")) evidence.hard[*e] = 1;
    return evidence;
}

TEST(PropagatedSampling, BacktracksOverZerosTheTablesCannotSee) {
    const Network network = parityChains(Chains::Consistent);
    const Evidence evidence = parityEvidence(network);
    const InferenceResult result = infer(network, evidence, bpis());
    const ExactResult exact = JunctionTree(network).infer(evidence);
    EXPECT_GT(result.sampling->backtracks, 0);
    EXPECT_LT(testing_support::largestDifference(result.posteriors, exact.posteriors), 0.02);
    // The second chain is left to its priors: the weights decide it.
    EXPECT_GT(exact.posteriors[*network.indexOf("x18")][1], 0.1);
    EXPECT_LT(exact.posteriors[*network.indexOf("x18")][1], 0.9);

    // Without the or, checking each check as its last root is drawn meets
    // no dead end, and the weights are exact importance weights.
    const Network chains = parityChains(Chains::WithoutOr);
    const InferenceResult unbiased = infer(chains, parityEvidence(chains), bpis());
    EXPECT_EQ(unbiased.sampling->backtracks, 0);
    EXPECT_NEAR(*unbiased.logProbabilityOfEvidence, JunctionTree(chains).infer(parityEvidence(chains)).logProbabilityOfEvidence,
                5 * *unbiased.probabilityOfEvidenceRelativeError + 1e-9);

    const Network impossible = parityChains(Chains::Inconsistent);
    EXPECT_THROW(infer(impossible, parityEvidence(impossible), bpis()), InferenceError);
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
    // Enough for the tables' four copies every algorithm needs, not for
    // the messages and importance tables besides.
    std::size_t entries = 0;
    for (const Variable& variable : alarm.variables) entries += variable.table.size();
    InferenceOptions tight = bpis();
    tight.memoryLimitBytes = 4 * sizeof(double) * entries;
    EXPECT_THROW(infer(alarm, evidence, tight), NetworkTooLargeError);
}

}  // namespace
