#include <gtest/gtest.h>

#include "lib/inference/inference.h"
#include "tests/support/brute_force.h"
#include "tests/support/test_networks.h"
#include "tests/support/tiny_network.h"

namespace {

using samplenet::Algorithm;
using samplenet::Evidence;
using samplenet::InferenceOptions;

InferenceOptions lbp(int iterations, std::optional<double> tolerance) {
    InferenceOptions options;
    options.algorithm = Algorithm::Lbp;
    options.lbpIterations = iterations;
    options.lbpTolerance = tolerance;
    return options;
}

// On a polytree LBP is exact once messages have crossed it: with a tolerance
// it stops there, and a run of that many iterations without one gives the
// same beliefs bit for bit.
TEST(LoopyPropagation, StopsWhenBeliefsSettleWithTheSameBeliefs) {
    const auto net = testing_support::polytree();
    const std::vector<int> observed(net.size(), -1);
    const auto exact = testing_support::enumerate(net, observed);
    const auto network = testing_support::toNetwork(net);
    const auto settled = samplenet::infer(network, Evidence{}, lbp(50, 1e-12));
    ASSERT_TRUE(settled.propagation.has_value());
    EXPECT_TRUE(settled.propagation->converged);
    EXPECT_LT(settled.propagation->iterations, 50);
    EXPECT_LT(settled.propagation->lastChange, 1e-12);
    for (int v = 0; v < net.size(); ++v)
        for (std::size_t s = 0; s < exact.posteriors[v].size(); ++s)
            EXPECT_NEAR(settled.posteriors[v][s], exact.posteriors[v][s], 1e-9);
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

}  // namespace
