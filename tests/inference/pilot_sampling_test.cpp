// The piloted samplers (-a pilot): the proposal that does not collapse
// draws the answer, and the run keeps the samplers' contract.
#include <gtest/gtest.h>

#include <stdexcept>

#include "lib/exact/junction_tree.h"
#include "lib/formats/formats.h"
#include "lib/inference/inference.h"
#include "tests/support/brute_force.h"
#include "tests/support/sampling_options.h"
#include "tests/support/uai_case.h"

namespace {

using namespace samplenet;

// A time budget far beyond the runs keeps the pilots' shares of it out of
// the numbers: each pilot draws a tenth of the samples.
InferenceOptions piloted(int samples) {
    InferenceOptions options = testing_support::samplingOptions(Algorithm::Pilot, samples, 1);
    options.maxSeconds = 3600.0;
    return options;
}

// A genetic pedigree: 0/1 inheritance tables, 37 typed persons. Converged
// propagation cannot see the inheritance, and its samples carry a few
// effective ones; mini-bucket elimination within 8 MiB is exact here, and
// its samples all weigh the same.
TEST(PilotSampling, DrawsFromTheProposalThatSurvivesDeterminism) {
    const auto [network, evidence, path] = testing_support::uaiCase("Pedigree_11");
    InferenceOptions options = piloted(5000);
    options.memoryLimitBytes = std::size_t{8} << 20;
    const InferenceResult result = infer(network, evidence, options);
    EXPECT_EQ(result.settings.algorithm, Algorithm::Pilot);
    EXPECT_EQ(result.choice.rfind("wmb (pilots: bpis ", 0), 0u) << result.choice;
    EXPECT_GT(result.sampling->errors.effectiveSampleSize, 4000.0);
    EXPECT_EQ(result.samplesDrawn, 5000);
    const ExactResult exact = JunctionTree(network).infer(evidence);
    EXPECT_LT(testing_support::largestDifference(result.posteriors, exact.posteriors), 0.03);
    EXPECT_NEAR(*result.logProbabilityOfEvidence, exact.logProbabilityOfEvidence, 0.05);

    // In 100 KiB converged propagation does not fit and the mini-buckets are
    // split: samples back up out of dead ends, their weights leave out the
    // dead ends no sample met, and the run claims no bound.
    options.memoryLimitBytes = std::size_t{100} << 10;
    options.targetError = 0.5;
    const InferenceResult split = infer(network, evidence, options);
    EXPECT_EQ(split.choice.rfind("wmb (pilots: bpis failed", 0), 0u) << split.choice;
    EXPECT_GT(split.sampling->backtracks, 0);
    EXPECT_NE(split.choice.find(" times: their weights are approximate and give no bound"), std::string::npos)
        << split.choice;
    EXPECT_EQ(split.sampling->errors.errorBound, 1.0);
    EXPECT_EQ(split.sampling->targetMet, false);
}

TEST(PilotSampling, KeepsItsContract) {
    const Network alarm = readNetwork(SAMPLENET_TEST_DATA "/networks/alarm.bif.gz");
    const Evidence evidence{{{*alarm.indexOf("BP"), 0}, {*alarm.indexOf("HR"), 2}}, {}};
    InferenceOptions options = piloted(4000);
    const InferenceResult once = infer(alarm, evidence, options);
    EXPECT_EQ(infer(alarm, evidence, options).posteriors, once.posteriors);
    const ExactResult exact = JunctionTree(alarm).infer(evidence);
    EXPECT_LT(testing_support::largestDifference(once.posteriors, exact.posteriors), 0.05);

    // Given time and no count, it draws to the default target of 0.01.
    InferenceOptions timed = options;
    timed.samples.reset();
    timed.maxSeconds = 30.0;
    const InferenceResult toTarget = infer(alarm, evidence, timed);
    EXPECT_TRUE(toTarget.sampling->targetMet.value_or(false));
    EXPECT_LE(toTarget.sampling->errors.errorBound, 0.01);
    // Neither proposal fits: the final run says so.
    InferenceOptions tight = options;
    tight.memoryLimitBytes = 1 << 12;
    EXPECT_THROW(infer(alarm, evidence, tight), NetworkTooLargeError);
}

}  // namespace
