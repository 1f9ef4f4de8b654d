#include <gtest/gtest.h>

#include "lib/generate/random_network.h"
#include "lib/inference/inference.h"
#include "tests/support/test_networks.h"
#include "tests/support/tiny_network.h"

namespace {

using samplenet::Algorithm;
using samplenet::Evidence;
using samplenet::InferenceOptions;

// Within 1 MiB: the junction tree of fourHundredVariables() is far larger.
InferenceOptions automatic() {
    InferenceOptions options;
    options.algorithm = Algorithm::Auto;
    options.seed = 5;
    options.memoryLimitBytes = std::size_t{1} << 20;
    return options;
}

samplenet::Network fourHundredVariables() { return samplenet::randomNetwork({.nodes = 400, .seed = 2}); }

TEST(AutomaticChoice, TakesExactInferenceWhereItIsQuick) {
    const auto network = testing_support::toNetwork(testing_support::threeLayerLoopy());
    const auto run = samplenet::infer(network, Evidence{{{6, 2}}, {}}, automatic());
    EXPECT_EQ(run.settings.algorithm, Algorithm::Exact);
    EXPECT_EQ(run.choice.rfind("exact: the junction tree holds ", 0), 0u) << run.choice;
    EXPECT_TRUE(run.logProbabilityOfEvidence.has_value());
}

// The whole network's tree is far above the memory limit, but evidence on
// an early variable needs only its few ancestors: exact inference is judged
// by the tree it would build for the query.
TEST(AutomaticChoice, JudgesExactInferenceByTheTreeOfTheQuery) {
    const auto network = fourHundredVariables();
    InferenceOptions options = automatic();
    const Evidence early{{{8, 0}}, {}};
    options.queried = {3, 8};
    const auto run = samplenet::infer(network, early, options);
    EXPECT_EQ(run.settings.algorithm, Algorithm::Exact) << run.choice;
    // Only the queried variables are answered (exact inference's own tests
    // check the numbers); the others are marked invalid.
    EXPECT_TRUE(run.valid[3]);
    EXPECT_FALSE(run.valid[0]);

    // A budget that no tree meets sends the same query to the samplers,
    // and the choice gives the figures that decided.
    options.maxSeconds = 1e-12;
    const auto hurried = samplenet::infer(network, early, options);
    EXPECT_NE(hurried.settings.algorithm, Algorithm::Exact);
    EXPECT_NE(hurried.choice.find("the budget 1e-12 s"), std::string::npos) << hurried.choice;
}

// A network whose junction tree is far above the memory limit goes to the
// piloted samplers with a target error.
TEST(AutomaticChoice, SamplesToATargetWhereExactInferenceCannotGo) {
    const auto network = fourHundredVariables();
    InferenceOptions options = automatic();
    // A budget that no build (sanitizers included) reaches keeps the
    // numbers free of the clock.
    options.maxSeconds = 3600.0;
    options.samples = 5000;
    const auto run = samplenet::infer(network, Evidence{{{399, 0}}, {}}, options);
    EXPECT_EQ(run.settings.algorithm, Algorithm::Pilot);
    ASSERT_TRUE(run.settings.targetError.has_value());
    EXPECT_EQ(*run.settings.targetError, 0.01);
    EXPECT_TRUE(run.sampling->targetMet.value_or(false));
    EXPECT_EQ(run.choice.rfind("pilot: the junction tree exceeds the memory limit of 1 MiB; drew from ", 0), 0u)
        << run.choice;
}

}  // namespace

// An answer worth too few samples is not the end: auto goes on to ten
// times the samples and to the other samplers, and says what it tried; when nothing is reliable it keeps the
// answer worth the most samples, and says that too.
TEST(AutomaticChoice, EscalatesFromAnUnreliableAnswer) {
    const auto network = fourHundredVariables();
    InferenceOptions options = automatic();
    options.samples = 600;
    options.targetError = 0.2;
    const Evidence evidence{{{399, 0}}, {}};
    const auto first = samplenet::infer(network, evidence, options);
    EXPECT_EQ(first.settings.algorithm, Algorithm::Pilot);
    EXPECT_EQ(first.settings.samples, 600);
    EXPECT_TRUE(first.sampling->targetMet.value_or(false));

    options.targetError = 1e-6;
    const auto none = samplenet::infer(network, evidence, options);
    EXPECT_NE(none.choice.find("no sampler gave a reliable answer"), std::string::npos) << none.choice;
    EXPECT_NE(none.choice.find("(tried: pilot (at most 600 samples): "), std::string::npos) << none.choice;
    EXPECT_NE(none.choice.find("; pilot (at most 6000 samples): "), std::string::npos) << none.choice;
    EXPECT_NE(none.choice.find("; epis (at most 600 samples, "), std::string::npos) << none.choice;
    EXPECT_FALSE(none.sampling->targetMet.value_or(true));
}
