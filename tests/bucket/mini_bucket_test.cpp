// Mini-bucket plans on a small star, and mini-bucket sampling (-a wmb)
// against exact inference: bundled networks, buckets forced to split,
// determinism that forward sampling dies on, and the run's contract
// (impossible evidence, seeds, jobs, queried variables).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "lib/exact/junction_tree.h"
#include "lib/benchmark/reference_marginals.h"
#include "lib/bucket/mini_bucket_plan.h"
#include "lib/formats/formats.h"
#include "lib/inference/inference.h"
#include "lib/inference/mini_bucket_run.h"
#include "tests/support/sampling_options.h"
#include "tests/support/tiny_network.h"
#include "tests/support/uai_case.h"
#include "tests/support/error_message.h"

namespace {

using namespace samplenet;

// Variable 0 (eliminated first) shares a pair table with each of 1..4: its
// bucket holds all four, whose product spans 32 entries.
EliminationScopes star() { return {{2, 2, 2, 2, 2}, {{4, 0}, {3, 0}, {2, 0}, {1, 0}, {4}, {3}, {2}, {1}}}; }

// Every function lands in exactly one mini-bucket, of the bucket of its
// first-eliminated variable, and every message is a function of its own.
void expectEachFunctionPlacedOnce(const MiniBucketPlan& plan) {
    std::vector<int> placed(plan.scopes.size(), 0);
    for (std::size_t v = 0; v < plan.buckets.size(); ++v)
        for (const MiniBucketPlan::MiniBucket& mini : plan.buckets[v]) {
            EXPECT_EQ(mini.scope.back(), static_cast<int>(v));
            for (int f : mini.functions) {
                ++placed[f];
                EXPECT_EQ(plan.scopes[f].back(), static_cast<int>(v));
                EXPECT_TRUE(std::includes(mini.scope.begin(), mini.scope.end(), plan.scopes[f].begin(),
                                          plan.scopes[f].end(), std::greater<>()));
            }
        }
    EXPECT_TRUE(std::all_of(placed.begin(), placed.end(), [](int count) { return count == 1; }));
}

TEST(MiniBucketPlan, WithoutABoundEachBucketIsEliminatedWhole) {
    const MiniBucketPlan plan = planMiniBuckets(star(), SIZE_MAX);
    expectEachFunctionPlacedOnce(plan);
    EXPECT_EQ(plan.splitBuckets, 0);
    ASSERT_EQ(plan.buckets[0].size(), 1u);
    EXPECT_EQ(plan.buckets[0][0].scope, (std::vector<int>{4, 3, 2, 1, 0}));
    EXPECT_EQ(plan.largestMiniBucket, 32u);
    // 16 + 8 + 4 + 2 entries as the message shrinks bucket by bucket.
    EXPECT_EQ(plan.messageEntries, 30u);
    EXPECT_EQ(plan.tableEntries, 24u);
}

TEST(MiniBucketPlan, ABoundSplitsBucketsIntoMiniBucketsWithinIt) {
    const MiniBucketPlan plan = planMiniBuckets(star(), 8);
    expectEachFunctionPlacedOnce(plan);
    EXPECT_GT(plan.splitBuckets, 0);
    ASSERT_EQ(plan.buckets[0].size(), 2u);
    for (const auto& bucket : plan.buckets)
        for (const MiniBucketPlan::MiniBucket& mini : bucket)
            EXPECT_LE(entriesOver(mini.scope, {2, 2, 2, 2, 2}), 8u);
    EXPECT_LE(plan.largestMiniBucket, 8u);
}

TEST(MiniBucketPlan, TheBudgetChoosesTheLargestBoundThatFits) {
    const auto exact = planWithinBudget(star(), 62);
    ASSERT_TRUE(exact.has_value());
    EXPECT_EQ(exact->splitBuckets, 0);

    const auto bounded = planWithinBudget(star(), 20);
    ASSERT_TRUE(bounded.has_value());
    EXPECT_GT(bounded->splitBuckets, 0);
    EXPECT_LE(bounded->messageEntries + bounded->largestMiniBucket, 20u);
    // One entry more per mini-bucket would not fit.
    const MiniBucketPlan larger = planMiniBuckets(star(), bounded->entriesPerMiniBucket + 1);
    EXPECT_GT(larger.messageEntries + larger.largestMiniBucket, 20u);

    EXPECT_FALSE(planWithinBudget(star(), 3).has_value());
}

InferenceOptions wmb(int samples = 20000) {
    return testing_support::samplingOptions(Algorithm::MiniBucket, samples, 11);
}

// Every entry within five of its standard errors (plus rounding), and P(e)
// within its relative error unless the draws backtracked.
void expectNearExact(const InferenceResult& result, const ExactResult& exact) {
    ASSERT_TRUE(result.sampling.has_value());
    for (std::size_t v = 0; v < exact.posteriors.size(); ++v)
        for (std::size_t s = 0; s < exact.posteriors[v].size(); ++s)
            EXPECT_NEAR(result.posteriors[v][s], exact.posteriors[v][s], 5 * result.standardErrors[v][s] + 1e-9)
                << "variable " << v << " state " << s;
    if (result.sampling->backtracks > 0) return;
    EXPECT_NEAR(*result.logProbabilityOfEvidence, exact.logProbabilityOfEvidence,
                5 * *result.probabilityOfEvidenceRelativeError + 1e-9);
}

Evidence alarmEvidence(const Network& alarm) {
    Evidence evidence;
    evidence.hard[*alarm.indexOf("BP")] = 0;
    evidence.hard[*alarm.indexOf("HRSAT")] = 2;
    evidence.likelihood[*alarm.indexOf("CVP")] = {0.2, 0.7, 0.4};
    return evidence;
}

TEST(MiniBucketSampling, MatchesExactInferenceOnBundledNetworks) {
    for (const char* name : {"asia", "alarm", "child"}) {
        const Network network = readNetwork(std::string(SAMPLENET_TEST_DATA "/networks/") + name + ".bif.gz");
        Evidence evidence;
        evidence.hard[network.size() - 1] = 1;
        evidence.likelihood[network.size() / 2] = std::vector<double>(network.variables[network.size() / 2].stateCount(), 0.5);
        evidence.likelihood[network.size() / 2][0] = 2.0;
        const InferenceResult result = infer(network, evidence, wmb());
        expectNearExact(result, JunctionTree(network).infer(evidence));
        // Small enough to eliminate exactly: every sample weighs the same.
        EXPECT_EQ(result.miniBuckets->splitBuckets, 0) << name;
        EXPECT_NEAR(result.sampling->errors.effectiveSampleSize, 20000, 1e-6) << name;
    }
}

TEST(MiniBucketSampling, SplitBucketsStillConvergeToTheExactPosteriors) {
    const Network alarm = readNetwork(SAMPLENET_TEST_DATA "/networks/alarm.bif.gz");
    const Evidence evidence = alarmEvidence(alarm);
    // Smaller bounds work too, but their weights' heavy tails need more
    // samples than a unit test draws.
    const InferenceResult result = inferByMiniBuckets(alarm, evidence, wmb(), 32);
    ASSERT_TRUE(result.miniBuckets.has_value());
    EXPECT_GT(result.miniBuckets->splitBuckets, 0);
    EXPECT_EQ(result.miniBuckets->entriesPerMiniBucket, 32u);
    EXPECT_LT(result.sampling->errors.effectiveSampleSize, 20000 - 1.0);
    expectNearExact(result, JunctionTree(alarm).infer(evidence));
}

// Colouring a complete graph: `count` variables of `colours` equally likely
// states and, for each pair, an observed child that is 1 exactly when they
// differ: four of three colours cannot all differ.
Network colouring(int count, int colours) {
    testing_support::TinyNet net;
    for (int v = 0; v < count; ++v) net.add(colours, {}, std::vector<double>(colours, 1.0 / colours));
    std::vector<double> differ;
    for (int a = 0; a < colours; ++a)
        for (int b = 0; b < colours; ++b) differ.insert(differ.end(), {a == b ? 1.0 : 0.0, a == b ? 0.0 : 1.0});
    for (int a = 0; a < count; ++a)
        for (int b = a + 1; b < count; ++b) net.add(2, {a, b}, differ);
    return testing_support::toNetwork(net);
}

// Twelve fair bits under eight parity checks of four bits each, every check
// a chain of deterministic exclusive-or nodes whose end is observed even:
// forward sampling meets the evidence once in 2^8 samples.
Network parityChecks() {
    testing_support::TinyNet net;
    for (int bit = 0; bit < 12; ++bit) net.add(2, {}, {0.5, 0.5});
    const std::vector<double> exclusiveOr{1.0, 0.0, 0.0, 1.0, 0.0, 1.0, 1.0, 0.0};
    for (int check = 0; check < 8; ++check) {
        int running = check;
        for (int step : {1, 3, 7}) running = net.add(2, {running, (check + step) % 12}, exclusiveOr);
    }
    return testing_support::toNetwork(net);
}

TEST(MiniBucketSampling, BacksOutOfDeadEndsWithoutLosingSamples) {
    const Network network = parityChecks();
    Evidence evidence;
    for (int check = 0; check < 8; ++check) evidence.hard[12 + 3 * check + 2] = 0;
    const ExactResult exact = JunctionTree(network).infer(evidence);
    // Single tables per mini-bucket forget the parities, so draws run into
    // dead ends and back out. Weighed by proposals that know only the dead
    // ends each sample met, they overestimate P(e) (here e^-2.3 for e^-5.5),
    // but the posteriors' ratios hold.
    const InferenceResult result = inferByMiniBuckets(network, evidence, wmb(4000), 1);
    EXPECT_GT(result.sampling->backtracks, 0);
    EXPECT_EQ(result.sampling->positive, 4000);
    EXPECT_EQ(result.sampling->impossible, 0);
    expectNearExact(result, exact);
    // The default bound eliminates exactly, and no draw meets a dead end.
    const InferenceResult exactProposal = infer(network, evidence, wmb(4000));
    EXPECT_EQ(exactProposal.sampling->backtracks, 0);
    expectNearExact(exactProposal, exact);
}

TEST(MiniBucketSampling, ImpossibleEvidenceFailsWithTheUsualMessage) {
    const Network network = colouring(4, 3);
    Evidence evidence;
    for (int v = 4; v < network.size(); ++v) evidence.hard[v] = 1;
    for (const std::optional<std::size_t> bound : {std::optional<std::size_t>{}, std::optional<std::size_t>{1}}) {
        const std::string message = testing_support::messageOf<InferenceError>([&] {
            if (bound) inferByMiniBuckets(network, evidence, wmb(100), *bound);
            else infer(network, evidence, wmb(100));
        });
        EXPECT_NE(message.find("impossible"), std::string::npos) << message;
    }
}

TEST(MiniBucketSampling, RepeatsBySeedAndJobCountAndTalliesQueriedOnly) {
    const Network alarm = readNetwork(SAMPLENET_TEST_DATA "/networks/alarm.bif.gz");
    const Evidence evidence = alarmEvidence(alarm);
    InferenceOptions options = wmb(3000);
    const InferenceResult first = inferByMiniBuckets(alarm, evidence, options, 16);
    EXPECT_EQ(inferByMiniBuckets(alarm, evidence, options, 16).posteriors, first.posteriors);
    options.seed = 12;
    EXPECT_NE(inferByMiniBuckets(alarm, evidence, options, 16).posteriors, first.posteriors);

    options.seed = 11;
    options.jobs = 2;
    const InferenceResult twoJobs = inferByMiniBuckets(alarm, evidence, options, 16);
    EXPECT_EQ(twoJobs.samplesDrawn, 3000);
    EXPECT_EQ(inferByMiniBuckets(alarm, evidence, options, 16).posteriors, twoJobs.posteriors);

    // Tallies do not touch the draws: a queried variable's numbers are the
    // full run's.
    options.jobs = 1;
    const int queried = *alarm.indexOf("HYPOVOLEMIA");
    options.queried = {queried};
    const InferenceResult alone = inferByMiniBuckets(alarm, evidence, options, 16);
    EXPECT_EQ(alone.posteriors[queried], first.posteriors[queried]);
    EXPECT_EQ(alone.standardErrors[queried], first.standardErrors[queried]);
    EXPECT_TRUE(alone.valid[queried]);
    EXPECT_FALSE(alone.valid[*alarm.indexOf("LVFAILURE")]);
    EXPECT_TRUE(alone.posteriors[*alarm.indexOf("LVFAILURE")].empty());
}

// The published marginals of a pedigree whose inheritance tables are 0/1,
// where forward sampling finds no compatible sample: within 8 MiB the run
// answers, and its 95% bound holds.
TEST(MiniBucketSampling, AnswersAPedigreeWithinEightMebibytes) {
    const testing_support::UaiCase instance = testing_support::uaiCase("Pedigree_11");
    const Network& pedigree = instance.network;
    InferenceOptions options = wmb(2000);
    options.memoryLimitBytes = std::size_t{8} << 20;
    const InferenceResult result = infer(pedigree, instance.evidence, options);
    const auto reference = readReferenceMarginals(instance.path + ".MAR");
    ASSERT_EQ(static_cast<int>(reference.size()), pedigree.size());
    double largest = 0.0;
    for (int v = 0; v < pedigree.size(); ++v)
        for (std::size_t s = 0; s < reference[v].size(); ++s)
            largest = std::max(largest, std::abs(result.posteriors[v][s] - reference[v][s]));
    EXPECT_LE(largest, result.sampling->errors.errorBound + 1e-6);
    EXPECT_LT(largest, 0.05);
}

}  // namespace
