#include <gtest/gtest.h>

#include <string>

#include "lib/inference/automatic_choice.h"
#include "lib/inference/inference.h"
#include "tests/support/test_networks.h"
#include "tests/support/tiny_network.h"
#include "tests/support/error_message.h"
#include "tests/support/sampling_options.h"

namespace {

using samplenet::Algorithm;
using samplenet::Evidence;
using samplenet::InferenceError;
using samplenet::InferenceOptions;

InferenceOptions lbp(int iterations, std::optional<double> tolerance) {
    InferenceOptions options;
    options.algorithm = Algorithm::Lbp;
    options.lbpIterations = iterations;
    options.lbpTolerance = tolerance;
    return options;
}

// On a polytree LBP settles once messages have crossed it (where it is
// exact): with a tolerance it stops there, and a run of that many
// iterations without one gives the same beliefs bit for bit.
TEST(LoopyPropagation, StopsWhenBeliefsSettleWithTheSameBeliefs) {
    const auto network = testing_support::toNetwork(testing_support::polytree());
    const auto settled = samplenet::infer(network, Evidence{}, lbp(50, 1e-12));
    ASSERT_TRUE(settled.propagation.has_value());
    EXPECT_TRUE(settled.propagation->converged);
    EXPECT_LT(settled.propagation->iterations, 50);
    EXPECT_LT(settled.propagation->lastChange, 1e-12);
    const auto fixed = samplenet::infer(network, Evidence{}, lbp(settled.propagation->iterations, std::nullopt));
    EXPECT_EQ(fixed.posteriors, settled.posteriors);
}

TEST(LoopyPropagation, ReportsARunThatDidNotSettle) {
    const auto network = testing_support::toNetwork(testing_support::threeLayerLoopy());
    const auto run = samplenet::infer(network, Evidence{{{6, 2}}, {}}, lbp(2, 1e-12));
    EXPECT_FALSE(run.propagation->converged);
    EXPECT_EQ(run.propagation->iterations, 2);
    EXPECT_GT(run.propagation->lastChange, 1e-12);
    EXPECT_THROW(samplenet::infer(network, Evidence{}, lbp(5, 0.0)), std::invalid_argument);
}

// A root with more binary children than double can hold halves of: every
// unobserved child sends it the message (1/2, 1/2), and their product
// underflows to 0 in both states, although nothing rules either out.
samplenet::Network rootOfManyChildren(int children) {
    samplenet::Network network;
    network.variables.push_back({"root", {"a", "b"}, {}, {0.5, 0.5}, {}});
    for (int k = 0; k < children; ++k)
        network.variables.push_back({"child" + std::to_string(k), {"a", "b"}, {0}, {0.9, 0.1, 0.2, 0.8}, {}});
    return network;
}

// Propagation fails with a message that says it collapsed (not that the
// evidence is impossible), and auto, sent past exact inference, still
// answers with a sampler, close to the exact posterior.
TEST(LoopyPropagation, CollapseOnPossibleEvidenceIsReportedAndAutoStillAnswers) {
    const auto network = rootOfManyChildren(1100);
    // The first child observed in state a: P(root = a | e) = 0.45 / 0.55.
    const Evidence evidence{{{1, 0}}, {}};
    const double exact = 0.45 / 0.55;

    const std::string message =
        testing_support::messageOf<InferenceError>([&] { samplenet::infer(network, evidence, lbp(50, std::nullopt)); });
    EXPECT_NE(message.find("belief propagation collapsed"), std::string::npos) << message;
    EXPECT_NE(message.find("even where the evidence is possible"), std::string::npos) << message;
    // Below the underflow propagation answers.
    const auto fewer = samplenet::infer(rootOfManyChildren(1000), evidence, lbp(50, std::nullopt));
    EXPECT_NEAR(fewer.posteriors[0][0], exact, 1e-9);

    InferenceOptions automatic = testing_support::samplingOptions(Algorithm::Auto, 20000, 5);
    automatic.maxSeconds = 3600.0;
    automatic.queried = {0};
    const auto run = samplenet::sampleAutomatically(network, evidence, automatic, "exact inference was ruled out");
    EXPECT_NE(run.settings.algorithm, Algorithm::Lbp) << run.choice;
    ASSERT_TRUE(run.valid[0]) << run.choice;
    EXPECT_NEAR(run.posteriors[0][0], exact, 0.02) << run.choice;
}

}  // namespace
