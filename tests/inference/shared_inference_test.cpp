#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "lib/generate/random_network.h"
#include "lib/inference/inference.h"
#include "lib/inference/shared_inference.h"
#include "lib/sampling/share_encoding.h"
#include "tests/support/error_message.h"
#include "tests/support/sampling_options.h"

namespace {

using samplenet::Algorithm;
using samplenet::InferenceOptions;
using samplenet::InferenceResult;
using samplenet::JobShare;

// Draws every share as another process would: from the plan's and the
// share's bytes alone, sending bytes back.
class BytesOnlyDrawer : public samplenet::ShareDrawer {
public:
    void start(const samplenet::SamplingPlan& plan, samplenet::Generator generator) override {
        planBytes = samplenet::encodePlan(plan, generator);
        ++runs;
    }
    std::vector<JobShare> drawRound(const std::vector<JobShare>& shares, const std::vector<long>& samples) override {
        const samplenet::PlanAndGenerator received = samplenet::decodePlan(planBytes);
        std::vector<JobShare> drawn;
        for (std::size_t k = 0; k < shares.size(); ++k) {
            JobShare share = samplenet::decodeShare(samplenet::encodeShare(shares[k]), received.plan.sumCount);
            samplenet::drawShare(received.plan, received.generator, share, samples[k]);
            drawn.push_back(samplenet::decodeShare(samplenet::encodeShare(share), received.plan.sumCount));
        }
        ++rounds;
        if (dropLastShare) drawn.pop_back();
        return drawn;
    }
    std::string planBytes;
    int runs = 0;
    int rounds = 0;
    bool dropLastShare = false;
};

samplenet::Network testNetwork() { return samplenet::randomNetwork({.nodes = 60, .zeroShare = 0.1, .seed = 5}); }

// Two observed nodes and a likelihood on a third.
samplenet::Evidence testEvidence(const samplenet::Network& network) {
    std::vector<double> likelihood(network.variables[20].stateCount(), 1.0);
    likelihood[0] = 0.2;
    return samplenet::Evidence{{{59, 0}, {40, 1}}, {{20, likelihood}}};
}

using testing_support::messageOf;

void expectSameRun(const InferenceResult& local, const InferenceResult& shared, const std::string& what) {
    EXPECT_EQ(shared.posteriors, local.posteriors) << what;
    EXPECT_EQ(shared.standardErrors, local.standardErrors) << what;
    EXPECT_EQ(shared.logProbabilityOfEvidence, local.logProbabilityOfEvidence) << what;
    EXPECT_EQ(shared.probabilityOfEvidenceRelativeError, local.probabilityOfEvidenceRelativeError) << what;
    EXPECT_EQ(shared.valid, local.valid) << what;
    ASSERT_TRUE(shared.sampling && local.sampling) << what;
    EXPECT_EQ(shared.sampling->drawn, local.sampling->drawn) << what;
    EXPECT_EQ(shared.sampling->distinct, local.sampling->distinct) << what;
    EXPECT_EQ(shared.sampling->positive, local.sampling->positive) << what;
    EXPECT_EQ(shared.sampling->errors.effectiveSampleSize, local.sampling->errors.effectiveSampleSize) << what;
    EXPECT_EQ(shared.sampling->targetMet, local.sampling->targetMet) << what;
    ASSERT_EQ(shared.joint.has_value(), local.joint.has_value()) << what;
    if (local.joint) {
        EXPECT_EQ(shared.joint->probabilities, local.joint->probabilities) << what;
        EXPECT_EQ(shared.joint->standardErrors, local.joint->standardErrors) << what;
    }
}

// Shares drawn from bytes give what the same number of threads give, for
// both samplers, one share or several, a joint posterior and a query.
TEST(SharedInference, SharesDrawnFromBytesGiveTheThreadsResultsBitForBit) {
    const samplenet::Network network = testNetwork();
    const samplenet::Evidence evidence = testEvidence(network);
    for (const Algorithm algorithm : {Algorithm::Epis, Algorithm::Ais})
        for (const int jobs : {1, 3}) {
            const std::string what = std::string(samplenet::algorithmName(algorithm)) + " jobs " + std::to_string(jobs);
            InferenceOptions options = testing_support::samplingOptions(algorithm, 3001, 7);
            options.jobs = jobs;
            options.joint = {3, 8};
            if (jobs > 1) options.queried = {3, 8, 30};
            BytesOnlyDrawer drawer;
            const InferenceResult shared = samplenet::inferOnShares(network, evidence, options, drawer);
            expectSameRun(samplenet::infer(network, evidence, options), shared, what);
            EXPECT_EQ(drawer.runs, 1) << what;
            EXPECT_EQ(drawer.rounds, 1) << what;
        }
}

// A target run's rounds carry each share's sums and place in the stream
// from one round to the next; the wide generator travels with the plan.
TEST(SharedInference, TargetRoundsAcrossSharesMatchTheThreads) {
    const samplenet::Network network = testNetwork();
    const samplenet::Evidence evidence = testEvidence(network);
    for (const samplenet::Generator generator : {samplenet::Generator::Standard, samplenet::Generator::Wide}) {
        InferenceOptions options = testing_support::samplingOptions(Algorithm::Epis, 200'000, 3);
        options.jobs = 2;
        options.generator = generator;
        options.targetError = 0.03;
        options.maxSeconds = 3600.0;  // out of reach: the numbers stay free of the clock
        BytesOnlyDrawer drawer;
        const InferenceResult shared = samplenet::inferOnShares(network, evidence, options, drawer);
        expectSameRun(samplenet::infer(network, evidence, options), shared, "target");
        EXPECT_GT(drawer.rounds, 2);
        EXPECT_TRUE(shared.sampling->targetMet.value_or(false));
    }
}

TEST(SharedInference, RefusesWhatSharesCannotDraw) {
    const samplenet::Network network = testNetwork();
    const samplenet::Evidence evidence = testEvidence(network);
    BytesOnlyDrawer drawer;
    InferenceOptions options;
    const auto run = [&] { samplenet::inferOnShares(network, evidence, options, drawer); };
    options.algorithm = Algorithm::Lbp;
    EXPECT_EQ(messageOf<std::invalid_argument>(run), "samples in shares are drawn by epis or ais alone, not lbp");
    options.algorithm = Algorithm::Epis;
    options.keepBestSamples = 3;
    EXPECT_EQ(messageOf<std::invalid_argument>(run),
              "samples drawn in shares are not kept: best samples need a local run");
    EXPECT_EQ(drawer.runs, 0);
    options.keepBestSamples = 0;
    options.jobs = 2;
    options.samples = 1000;
    drawer.dropLastShare = true;
    EXPECT_EQ(messageOf<std::runtime_error>(run), "a round of shares came back with shares missing");
}

}  // namespace
