#include <gtest/gtest.h>

#include "lib/generate/random_network.h"
#include "lib/inference/automatic_choice.h"
#include "tests/support/test_networks.h"
#include "tests/support/tiny_network.h"

namespace {

using samplenet::Algorithm;
using samplenet::Evidence;
using samplenet::InferenceOptions;

InferenceOptions automatic() {
    InferenceOptions options;
    options.algorithm = Algorithm::Auto;
    options.seed = 5;
    return options;
}

TEST(AutomaticChoice, TakesExactInferenceWhereItIsQuick) {
    const auto network = testing_support::toNetwork(testing_support::threeLayerLoopy());
    const auto run = samplenet::inferAutomatically(network, Evidence{{{6, 2}}, {}}, automatic());
    EXPECT_EQ(run.used.algorithm, Algorithm::Exact);
    EXPECT_EQ(run.result.choice.rfind("exact: the junction tree holds ", 0), 0u) << run.result.choice;
    EXPECT_TRUE(run.result.logProbabilityOfEvidence.has_value());
}

// A network whose junction tree is far above the memory limit goes to
// EPIS-BN with a target error.
TEST(AutomaticChoice, SamplesToATargetWhereExactInferenceCannotGo) {
    samplenet::RandomNetworkOptions shape;
    shape.nodes = 400;
    shape.seed = 2;
    const auto network = samplenet::randomNetwork(shape);
    InferenceOptions options = automatic();
    options.memoryLimitBytes = std::size_t{1} << 20;
    const auto run = samplenet::inferAutomatically(network, Evidence{{{399, 0}}, {}}, options);
    EXPECT_EQ(run.used.algorithm, Algorithm::Epis);
    ASSERT_TRUE(run.used.targetError.has_value());
    EXPECT_EQ(*run.used.targetError, 0.01);
    EXPECT_TRUE(run.result.sampling->targetMet.value_or(false));
    EXPECT_EQ(run.result.choice, "epis: the junction tree exceeds the memory limit");
    // infer() with the automatic choice gives the same numbers.
    EXPECT_EQ(samplenet::infer(network, Evidence{{{399, 0}}, {}}, options).posteriors, run.result.posteriors);
}

}  // namespace
