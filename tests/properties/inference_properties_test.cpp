#include <gtest/gtest.h>

#include <cmath>
#include <utility>

#include "lib/inference/inference.h"
#include "tests/properties/random_cases.h"
#include "tests/support/tiny_network.h"

namespace property_testing {
namespace {

using samplenet::Algorithm;

testing_support::RandomNetworkShape smallShape(std::mt19937& rng) {
    testing_support::RandomNetworkShape shape;
    shape.variables = std::uniform_int_distribution<int>(1, 8)(rng);
    shape.maxParents = 3;
    shape.maxStates = 4;
    shape.zeroShare = 0.25;
    return shape;
}

TEST(ExactProperties, EqualsEnumerationOnRandomNetworks) {
    std::mt19937 rng(20261123);
    for (int i = 0; i < 80; ++i) {
        SCOPED_TRACE("case " + std::to_string(i));
        const RandomCase c = randomCase(rng, smallShape(rng), i % 2 == 0);
        samplenet::InferenceOptions options;
        options.algorithm = Algorithm::Exact;
        const auto result = samplenet::infer(c.network, c.evidence, options);
        EXPECT_LT(largestDifference(result.posteriors, c.exact.posteriors), 1e-9);
        EXPECT_NEAR(*result.logProbabilityOfEvidence, std::log(c.exact.probabilityOfEvidence), 1e-9);
    }
}

// Evidence of probability zero, found among random observations of networks
// with many zeros, must fail in every algorithm, never give posteriors.
TEST(AllAlgorithms, ReportImpossibleEvidence) {
    std::mt19937 rng(7);
    int impossible = 0;
    for (int tries = 0; impossible < 25 && tries < 2000; ++tries) {
        testing_support::RandomNetworkShape shape = smallShape(rng);
        shape.zeroShare = 0.6;
        const testing_support::TinyNet net = testing_support::randomNetwork(rng, shape);
        std::vector<int> hard(net.size(), -1);
        samplenet::Evidence evidence;
        for (int v = 0; v < net.size(); ++v) {
            if (std::bernoulli_distribution(0.5)(rng)) continue;
            hard[v] = std::uniform_int_distribution<int>(0, net.states[v] - 1)(rng);
            evidence.hard[v] = hard[v];
        }
        if (testing_support::enumerate(net, hard).probabilityOfEvidence != 0.0) continue;
        ++impossible;
        SCOPED_TRACE("try " + std::to_string(tries));
        for (Algorithm algorithm : {Algorithm::Epis, Algorithm::Ais, Algorithm::Lbp, Algorithm::Exact}) {
            samplenet::InferenceOptions options;
            options.algorithm = algorithm;
            options.samples = 2000;
            options.seed = 1;
            EXPECT_THROW(samplenet::infer(testing_support::toNetwork(net), evidence, options), samplenet::InferenceError)
                << samplenet::algorithmName(algorithm);
        }
    }
    EXPECT_EQ(impossible, 25);
}

// Synchronous belief propagation is exact on a polytree once messages have
// crossed it from end to end: as many rounds as variables suffice, and the
// test gives exactly that many, so a round lost in the schedule shows.
TEST(LbpProperties, EqualsExactInferenceOnRandomPolytrees) {
    std::mt19937 rng(11);
    for (int i = 0; i < 60; ++i) {
        SCOPED_TRACE("case " + std::to_string(i));
        testing_support::RandomNetworkShape shape;
        shape.variables = std::uniform_int_distribution<int>(2, 9)(rng);
        shape.maxStates = 3;
        shape.zeroShare = 0.2;
        shape.polytree = true;
        const RandomCase c = randomCase(rng, shape, i % 2 == 1);
        samplenet::InferenceOptions options;
        options.algorithm = Algorithm::Lbp;
        options.lbpIterations = shape.variables;
        const auto result = samplenet::infer(c.network, c.evidence, options);
        EXPECT_LT(largestDifference(result.posteriors, c.exact.posteriors), 1e-9);
    }
}

// Importance sampling error shrinks as one over the square root of the
// sample count. On each random network the largest error over all states at
// n samples must stay below spread / sqrt(n): for EPIS-BN spread = 3 is about
// six standard deviations of a proportion near 1/2 with half the samples
// effective; AIS-BN's learned tables give heavier-tailed weights, about a
// quarter of the samples effective, hence 6. And over all networks, 64 times
// the samples must shrink the summed error at least twofold (eightfold is
// expected).
TEST(SamplerProperties, ConvergeToExactInferenceAsSamplesGrow) {
    constexpr int kSmall = 4000;
    constexpr int kLarge = 64 * kSmall;
    for (const auto& [algorithm, spread] : {std::pair{Algorithm::Epis, 3.0}, std::pair{Algorithm::Ais, 6.0}}) {
        SCOPED_TRACE(samplenet::algorithmName(algorithm));
        std::mt19937 rng(3);
        double smallTotal = 0.0;
        double largeTotal = 0.0;
        for (int i = 0; i < 10; ++i) {
            SCOPED_TRACE("case " + std::to_string(i));
            testing_support::RandomNetworkShape shape;
            shape.variables = std::uniform_int_distribution<int>(3, 8)(rng);
            const RandomCase c = randomCase(rng, shape, i % 2 == 0);
            samplenet::InferenceOptions options;
            options.algorithm = algorithm;
            options.seed = 100 + i;
            double errors[2];
            for (int k = 0; k < 2; ++k) {
                options.samples = k == 0 ? kSmall : kLarge;
                errors[k] = largestDifference(samplenet::infer(c.network, c.evidence, options).posteriors, c.exact.posteriors);
                EXPECT_LT(errors[k], spread / std::sqrt(*options.samples)) << *options.samples << " samples";
            }
            smallTotal += errors[0];
            largeTotal += errors[1];
        }
        EXPECT_LT(largeTotal, smallTotal / 2);
    }
}

}  // namespace
}  // namespace property_testing
