#include <gtest/gtest.h>

#include <cmath>

#include "lib/inference/inference.h"
#include "lib/sampling/error_estimates.h"
#include "tests/support/sampling_options.h"
#include "tests/support/tiny_network.h"

namespace {

using samplenet::ErrorEstimates;
using samplenet::SumLayout;
using samplenet::WeightSums;

constexpr double kNormalQuantile = 1.959964;

// One node of three states: 200 samples of weight 1 in the first, none in
// the second, one of weight 10 in the third (sums kept unscaled).
WeightSums threeStateSums() {
    WeightSums sums(3);
    sums.perState = {200.0, 0.0, 10.0};
    sums.perStateSquares = {200.0, 0.0, 100.0};
    sums.total = 210.0;
    sums.totalSquares = 300.0;
    sums.largestExponent = 0;
    sums.drawn = sums.positive = 201;
    return sums;
}

// A state reached by many samples keeps the delta method's error; one no
// sample reached gets the rule of three's (three samples of the run's
// typical weight, 1/ESS of the total, within 1.96 errors); one reached by a
// single heavy sample is uncertain by the weight of the samples it lacks.
TEST(RareStateErrors, FewOrNoSamplesInAStateWidenItsInterval) {
    const SumLayout layout{{{0, 3, true}}, 3, 0};
    const ErrorEstimates errors = samplenet::estimateErrors(layout, threeStateSums());
    const double effective = 210.0 * 210.0 / 300.0;
    ASSERT_DOUBLE_EQ(errors.effectiveSampleSize, effective);
    const auto& node = errors.standardErrors.front();

    const double p = 200.0 / 210.0;
    EXPECT_DOUBLE_EQ(node[0], std::sqrt(200.0 * (1 - 2 * p) + p * p * 300.0) / 210.0);
    EXPECT_NEAR(node[1], 3.0 / effective / kNormalQuantile, 1e-12);
    const double missingMass = (samplenet::kReliableStateSamples - 1.0) * 10.0 / 210.0;
    EXPECT_NEAR(node[2], std::min(1.0, missingMass) / kNormalQuantile, 1e-12);
    EXPECT_DOUBLE_EQ(errors.largestStandardError, node[2]);
    EXPECT_LE(errors.errorBound, 1.0);
}

// A state of probability 0.003 is drawn about three times in the first
// round of 1,000 samples, whose spread alone would meet the target; the run
// goes on until enough samples reached it.
TEST(RareStateErrors, ATargetRunDoesNotStopOnAStateSeenAFewTimes) {
    testing_support::TinyNet net;
    net.add(2, {}, {0.003, 0.997});
    samplenet::InferenceOptions options = testing_support::samplingOptions(samplenet::Algorithm::Epis, 1'000'000, 5);
    options.targetError = 0.005;
    const auto result = samplenet::infer(testing_support::toNetwork(net), samplenet::Evidence{}, options);
    ASSERT_TRUE(result.sampling->targetMet.value_or(false));
    EXPECT_GT(result.sampling->drawn, 1000);
    EXPECT_GT(result.standardErrors[0][0], 0.0);
    EXPECT_NEAR(result.posteriors[0][0], 0.003, 0.005);
}

}  // namespace
