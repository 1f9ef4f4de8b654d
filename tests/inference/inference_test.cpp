#include "lib/inference/inference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "host/qvr_clock.h"
#include "lib/model/errors.h"
#include "tests/support/test_networks.h"
#include "tests/support/tiny_network.h"
#include "lib/benchmark/accuracy_benchmark.h"
#include "tests/support/sampling_options.h"
#include "tests/support/error_message.h"

namespace {

using samplenet::Algorithm;
using samplenet::Evidence;
using samplenet::InferenceOptions;
using testing_support::TinyNet;
using testing_support::samplingOptions;

constexpr long kSeed = 4711;

TEST(Infer, SameSeedRepeatsBitForBit) {
    const auto network = testing_support::toNetwork(testing_support::sprinkler());
    const Evidence evidence{{{3, 1}}, {}};
    for (Algorithm algorithm : {Algorithm::Epis, Algorithm::Ais}) {
        auto options = samplingOptions(algorithm, 2000, kSeed);
        const auto first = samplenet::infer(network, evidence, options);
        const auto second = samplenet::infer(network, evidence, options);
        EXPECT_EQ(first.posteriors, second.posteriors);
        EXPECT_EQ(first.posteriors[3], (std::vector<double>{0.0, 1.0})) << "the observed state, exactly";
        EXPECT_TRUE(std::all_of(first.valid.begin(), first.valid.end(), [](bool b) { return b; }));
        options.seed = 4712;
        EXPECT_NE(samplenet::infer(network, evidence, options).posteriors, first.posteriors);
    }
    // The real clock is back after a seeded run.
    EXPECT_NE(QVR_time(nullptr), 4712);
}

TEST(Infer, ProvablyImpossibleEvidenceIsReportedBeforeSampling) {
    TinyNet net;
    net.add(2, {}, {0.5, 0.5});
    net.add(2, {0}, {1.0, 0.0, 0.0, 1.0});
    const std::string message = testing_support::messageOf<samplenet::InferenceError>([&] {
        samplenet::infer(testing_support::toNetwork(net), Evidence{{{0, 0}, {1, 1}}, {}}, samplingOptions(Algorithm::Epis, 50000, kSeed));
    });
    EXPECT_TRUE(message.starts_with("the evidence is impossible under the model: ")) << message;
}

// Evidence of probability 1e-400 is possible: every sample's weight lies
// below double's range, and the samplers keep them at a common scale
// instead of losing them.
TEST(Infer, WeightsBelowTheRangeOfDoubleStillGivePosteriors) {
    TinyNet net;
    net.add(2, {}, {0.5, 0.5});                   // V0
    net.add(2, {0}, {0.3, 0.7, 0.6, 0.4});        // V1
    net.add(2, {1}, {1.0, 1e-200, 1.0, 1e-200});  // V2, observed 1
    net.add(2, {1}, {1.0, 1e-200, 1.0, 1e-200});  // V3, observed 1
    const Evidence evidence{{{2, 1}, {3, 1}}, {}};
    // The likelihoods of V2 and V3 do not depend on V1: the priors stand.
    const std::vector<std::vector<double>> exact{{0.5, 0.5}, {0.45, 0.55}, {0.0, 1.0}, {0.0, 1.0}};
    for (const int jobs : {1, 2}) {
        InferenceOptions options = samplingOptions(Algorithm::Epis, 4000, kSeed);
        options.jobs = jobs;
        const auto result = samplenet::infer(testing_support::toNetwork(net), evidence, options);
        for (std::size_t v = 0; v < exact.size(); ++v)
            EXPECT_LT(samplenet::hellingerDistance(result.posteriors[v], exact[v]), 0.03) << jobs << " jobs";
        ASSERT_TRUE(result.sampling.has_value());
        EXPECT_EQ(result.sampling->outsideDouble, 4000);
        EXPECT_EQ(result.sampling->lostToRange, 0);
        EXPECT_NEAR(*result.logProbabilityOfEvidence, -400 * std::log(10.0), 0.1);
    }
}

// A sample whose parent makes the evidence impossible has weight zero; with
// a single sample the run then fails at the first unobserved variable in
// topological order, and the variables before it keep their beliefs.
TEST(Infer, NoCompatibleSampleNamesTheVariableAndKeepsEarlierBeliefs) {
    TinyNet net;
    net.add(2, {}, {0.5, 0.5});                // V0, observed 0
    net.add(2, {0}, {0.5, 0.5, 0.5, 0.5});     // V1
    net.add(2, {1}, {1.0, 0.0, 0.0, 1.0});     // V2, observed 1: needs V1 = 1
    const Evidence evidence{{{0, 0}, {2, 1}}, {}};
    int failures = 0;
    for (long seed = 0; seed < 20; ++seed) {
        // Nearby seeds give nearby first draws; without propagation V1 is
        // drawn from its own table.
        InferenceOptions options = samplingOptions(Algorithm::Epis, 1, seed * 1637);
        options.epis.propagationLength = 0;
        try {
            samplenet::infer(testing_support::toNetwork(net), evidence, options);
        } catch (const samplenet::InferenceError& error) {
            ++failures;
            EXPECT_EQ(std::string(error.what()), "no sample was compatible with the evidence: \"V1\" got no weight "
                                                 "from 1 samples (the evidence may be too unlikely for this sample "
                                                 "count)");
            EXPECT_EQ(error.partial.valid, (std::vector<bool>{true, false, false}));
            EXPECT_EQ(error.partial.sampling->impossible, 1);
        }
    }
    // Half of the seeds draw the incompatible state.
    EXPECT_GT(failures, 3);
    EXPECT_LT(failures, 17);
}

// A rare state that the evidence does not point to (its child's table is
// uninformative) is reached more often, and estimated more closely, under a
// higher floor of the importance tables; the answer stays unbiased.
TEST(Infer, AHigherImportanceFloorSharpensARareState) {
    TinyNet net;
    net.add(2, {}, {0.999, 0.001});
    net.add(2, {0}, {0.5, 0.5, 0.5, 0.5});
    const auto network = testing_support::toNetwork(net);
    const Evidence evidence{{{1, 0}}, {}};
    for (Algorithm algorithm : {Algorithm::Epis, Algorithm::Propagated}) {
        InferenceOptions options = samplingOptions(algorithm, 4000, kSeed);
        const double usual = samplenet::infer(network, evidence, options).standardErrors[0][1];
        options.epis.epsilon1 = 0.2;
        const auto raised = samplenet::infer(network, evidence, options);
        EXPECT_LT(raised.standardErrors[0][1] * 3, usual) << samplenet::algorithmName(algorithm);
        EXPECT_NEAR(raised.posteriors[0][1], 0.001, 4 * raised.standardErrors[0][1]);
    }
}

TEST(Infer, RejectsBadOptionsAndEvidence) {
    const auto network = testing_support::toNetwork(testing_support::sprinkler());
    // The option registry's tests check each option's range; infer checks
    // them, and the engine's settings besides, before it runs.
    auto options = samplingOptions(Algorithm::Epis, 50000, kSeed);
    options.epis.epsilon2 = 1.5;
    EXPECT_THROW(samplenet::infer(network, {}, options), std::invalid_argument);
    EXPECT_THROW(samplenet::infer(network, Evidence{{{9, 0}}, {}}, samplingOptions(Algorithm::Epis, 50000, kSeed)),
                 samplenet::EvidenceError);
    // A network built in code is checked before the engine sees it.
    auto truncated = network;
    truncated.variables[3].table.pop_back();
    EXPECT_THROW(samplenet::infer(truncated, {}, samplingOptions(Algorithm::Epis, 50000, kSeed)), samplenet::ModelError);
}

// Within one run only the engine's samplers add up a joint posterior and
// keep best samples; the other samplers refuse both and say which do.
TEST(Infer, JointsAndBestSamplesAreRefusedByTheOtherSamplers) {
    const auto network = testing_support::toNetwork(testing_support::sprinkler());
    for (Algorithm algorithm : {Algorithm::MiniBucket, Algorithm::Propagated, Algorithm::Pilot}) {
        const std::string name(samplenet::algorithmName(algorithm));
        auto joint = samplingOptions(algorithm, 500, kSeed);
        joint.joint = {0, 1};
        EXPECT_EQ(testing_support::messageOf<std::invalid_argument>([&] { samplenet::infer(network, {}, joint); }),
                  name + " does not add up joint posteriors; use epis or ais");
        auto best = samplingOptions(algorithm, 500, kSeed);
        best.keepBestSamples = 3;
        EXPECT_EQ(testing_support::messageOf<std::invalid_argument>([&] { samplenet::infer(network, {}, best); }),
                  name + " does not keep best samples; use epis or ais");
    }
}

}  // namespace
