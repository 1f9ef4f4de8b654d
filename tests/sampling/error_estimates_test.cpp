#include <gtest/gtest.h>

#include <bit>
#include <cmath>

#include "lib/inference/inference.h"
#include "lib/sampling/error_estimates.h"
#include "tests/support/brute_force.h"
#include "tests/support/test_networks.h"
#include "tests/support/tiny_network.h"
#include "tests/support/sampling_options.h"

namespace {

using samplenet::Algorithm;
using samplenet::Evidence;
using samplenet::InferenceOptions;
using testing_support::TinyNet;
using testing_support::samplingOptions;

// Without evidence every weight is 1: the run is worth all its samples, an
// entry's error is that of a plain proportion, and P(e) is 1. The bound is
// where the entries' normal tails add up to 5%: at least 1.96 of the largest
// error, and (several entries sharing the largest) more.
TEST(ErrorEstimates, UnweightedSamplesGiveBinomialErrorsAndTheBoundAddsUpTheirTails) {
    const TinyNet net = testing_support::threeLayerLoopy();
    const auto result =
        samplenet::infer(testing_support::toNetwork(net), Evidence{}, samplingOptions(Algorithm::Epis, 5000, 3));
    ASSERT_TRUE(result.sampling.has_value());
    const auto& errors = result.sampling->errors;
    EXPECT_DOUBLE_EQ(errors.effectiveSampleSize, 5000.0);
    EXPECT_DOUBLE_EQ(*result.logProbabilityOfEvidence, 0.0);
    EXPECT_DOUBLE_EQ(*result.probabilityOfEvidenceRelativeError, 0.0);
    double tails = 0.0;
    for (int v = 0; v < net.size(); ++v)
        for (std::size_t s = 0; s < result.posteriors[v].size(); ++s) {
            const double p = result.posteriors[v][s], error = result.standardErrors[v][s];
            EXPECT_NEAR(error, std::sqrt(p * (1 - p) / 5000), 1e-12) << v << " " << s;
            tails += error > 0 ? std::erfc(errors.errorBound / (error * std::sqrt(2.0))) : 0.0;
        }
    EXPECT_NEAR(tails, 0.05, 1e-6);
    // Every two-state node has two entries with the same error.
    EXPECT_GT(errors.errorBound, 2.24 * errors.largestStandardError);
}

// On a large network the bound's tails are computed on several threads but
// added in entry order, so the bound does not depend on the thread count.
TEST(ErrorEstimates, TheBoundIsTheSameOnAnyNumberOfThreads) {
    constexpr std::size_t kNodes = 40000;  // 120,000 entries: enough to share
    constexpr std::size_t kDrawn = 1000;
    samplenet::SumLayout layout;
    samplenet::WeightSums sums(3 * kNodes);
    for (std::size_t v = 0; v < kNodes; ++v) {
        layout.nodes.push_back({3 * v, 3, true});
        const std::size_t first = 50 + v * 7919 % 900;
        const std::size_t second = v * 104729 % (kDrawn - first);
        const std::size_t counts[] = {first, second, kDrawn - first - second};
        for (std::size_t s = 0; s < 3; ++s) sums.perState[3 * v + s] = sums.perStateSquares[3 * v + s] = counts[s];
    }
    sums.total = sums.totalSquares = kDrawn;
    sums.largestExponent = 0;
    sums.drawn = sums.positive = kDrawn;
    const double bound = samplenet::estimateErrors(layout, sums, 1).errorBound;
    EXPECT_GT(bound, 0.0);
    EXPECT_LT(bound, 1.0);
    for (int threads : {2, 3}) EXPECT_EQ(samplenet::estimateErrors(layout, sums, threads).errorBound, bound);
}

// Over many seeds, about 95% of posterior entries lie within 1.96 of their
// standard errors of the exact value, and P(e) within 1.96 relative errors
// of the exact probability, for both samplers on a network with unlikely
// evidence and a likelihood finding.
TEST(ErrorEstimates, IntervalsCoverTheExactAnswers) {
    const TinyNet net = testing_support::rareFault();
    const std::vector<int> observed = testing_support::allSensorsAlarm();
    const std::vector<std::vector<double>> likelihood = {{0.3, 1.0}};
    const auto exact = testing_support::enumerate(net, observed, likelihood);
    const Evidence evidence = testing_support::withHardEvidence(observed, {{}, {{0, {0.3, 1.0}}}});
    for (const Algorithm algorithm : {Algorithm::Epis, Algorithm::Ais}) {
        int entries = 0, covered = 0, runs = 0, evidenceCovered = 0;
        for (long seed = 0; seed < 60; ++seed) {
            const auto result = samplenet::infer(testing_support::toNetwork(net), evidence,
                                                 samplingOptions(algorithm, 3000, seed * 541));
            for (int v = 0; v < net.size(); ++v) {
                if (observed[v] >= 0) continue;
                for (std::size_t s = 0; s < exact.posteriors[v].size(); ++s) {
                    ++entries;
                    const double error = std::abs(result.posteriors[v][s] - exact.posteriors[v][s]);
                    covered += error <= 1.96 * result.standardErrors[v][s] ? 1 : 0;
                }
            }
            ++runs;
            const double estimate = std::exp(*result.logProbabilityOfEvidence);
            const double spread = 1.96 * *result.probabilityOfEvidenceRelativeError * estimate;
            evidenceCovered += std::abs(estimate - exact.probabilityOfEvidence) <= spread ? 1 : 0;
        }
        const double coverage = static_cast<double>(covered) / entries;
        EXPECT_GT(coverage, 0.88) << samplenet::algorithmName(algorithm);
        EXPECT_LT(coverage, 0.99) << samplenet::algorithmName(algorithm);
        EXPECT_GT(static_cast<double>(evidenceCovered) / runs, 0.85) << samplenet::algorithmName(algorithm);
    }
}

// The reported variance of an entry matches the spread of its estimates
// over independent runs, on a network whose evidence makes weights vary.
TEST(ErrorEstimates, ReportedVarianceMatchesTheSpreadOverRuns) {
    const TinyNet net = testing_support::rareFault();
    const std::vector<int> observed = testing_support::allSensorsAlarm();
    const Evidence evidence = testing_support::withHardEvidence(observed);
    constexpr int kRuns = 400;
    const int v = 1;  // the fault, whose posterior the evidence moves most
    double sum = 0.0, sumOfSquares = 0.0, reported = 0.0;
    for (long seed = 0; seed < kRuns; ++seed) {
        // Sampling from the network's own tables makes the weights depend
        // strongly on the fault's state.
        InferenceOptions options = samplingOptions(Algorithm::Epis, 10000, seed * 79);
        options.epis.propagationLength = 0;
        const auto result = samplenet::infer(testing_support::toNetwork(net), evidence, options);
        const double p = result.posteriors[v][0];
        sum += p;
        sumOfSquares += p * p;
        reported += result.standardErrors[v][0] * result.standardErrors[v][0];
    }
    const double spread = (sumOfSquares - sum * sum / kRuns) / (kRuns - 1);
    const double ratio = (reported / kRuns) / spread;
    // The delta method runs a little low while few samples carry the fault
    // (0.64 at 2,000 samples, 0.81 at 10,000); leaving out the state's own
    // weight in the variance gives 0.004.
    EXPECT_GT(ratio, 0.65);
    EXPECT_LT(ratio, 1.4);
}

// Rounds of 1,000, 2,000, 4,000, ... samples until every posterior is
// within the target, the same ones for the same seed.
TEST(TargetError, DrawsInRoundsUntilEveryPosteriorIsWithinIt) {
    const TinyNet net = testing_support::threeLayerLoopy();
    const std::vector<int> observed = {-1, -1, 1, -1, -1, -1, 2};
    const auto exact = testing_support::enumerate(net, observed);
    const Evidence evidence = testing_support::withHardEvidence(observed);
    for (const int jobs : {1, 2}) {
        InferenceOptions options = samplingOptions(Algorithm::Epis, 1'000'000, 21);
        options.targetError = 0.005;
        options.jobs = jobs;
        const auto first = samplenet::infer(testing_support::toNetwork(net), evidence, options);
        const auto again = samplenet::infer(testing_support::toNetwork(net), evidence, options);
        EXPECT_EQ(first.posteriors, again.posteriors);
        ASSERT_TRUE(first.sampling->targetMet.value_or(false));
        EXPECT_LE(first.sampling->errors.errorBound, 0.005);
        const long drawn = first.sampling->drawn;
        EXPECT_EQ(drawn % 1000, 0);
        EXPECT_EQ(std::popcount(static_cast<unsigned long>(drawn / 1000)), 1) << drawn;
        EXPECT_LT(testing_support::largestDifference(first.posteriors, exact.posteriors), 0.005);
    }
}

}  // namespace
