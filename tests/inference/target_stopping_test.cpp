#include <gtest/gtest.h>

#include "lib/generate/random_network.h"
#include "lib/inference/inference.h"
#include "tests/support/tiny_network.h"

namespace {

using samplenet::Algorithm;
using samplenet::Evidence;
using samplenet::InferenceOptions;

// Two even states: every entry's error is 0.5 / sqrt(samples), so a target
// of 0.002 needs about 310,000 samples, above the default count.
samplenet::Network evenCoin() {
    testing_support::TinyNet net;
    net.add(2, {}, {0.5, 0.5});
    return testing_support::toNetwork(net);
}

InferenceOptions toTarget(Algorithm algorithm, double target) {
    InferenceOptions options;
    options.algorithm = algorithm;
    options.seed = 9;
    options.targetError = target;
    // A budget that no build (sanitizers included) reaches keeps the
    // numbers free of the clock.
    options.maxSeconds = 3600.0;
    return options;
}

// Without a sample count a target run draws until the target is met; a
// count, when given, caps it as before.
TEST(TargetStopping, OnlyAGivenSampleCountCapsATargetRun) {
    for (const Algorithm algorithm : {Algorithm::Epis, Algorithm::MiniBucket}) {
        const std::string name(samplenet::algorithmName(algorithm));
        InferenceOptions options = toTarget(algorithm, 0.002);
        const auto uncapped = samplenet::infer(evenCoin(), Evidence{}, options);
        EXPECT_TRUE(uncapped.sampling->targetMet.value_or(false)) << name;
        EXPECT_GT(uncapped.sampling->drawn, samplenet::kDefaultSamples) << name;
        EXPECT_LE(uncapped.sampling->errors.errorBound, 0.002) << name;

        options.samples = 200'000;
        const auto capped = samplenet::infer(evenCoin(), Evidence{}, options);
        EXPECT_FALSE(capped.sampling->targetMet.value_or(true)) << name;
        EXPECT_EQ(capped.sampling->drawn, 200'000) << name;
    }
}

// Auto's first sampler, uncapped, meets a target that the default count
// would not, and so needs no second attempt.
TEST(TargetStopping, AutoDrawsToItsTargetWithoutASampleCount) {
    const samplenet::Network network = samplenet::randomNetwork({.nodes = 100, .seed = 2});
    InferenceOptions options = toTarget(Algorithm::Auto, 0.006);
    options.memoryLimitBytes = std::size_t{1} << 18;
    const auto run = samplenet::infer(network, Evidence{{{99, 0}}, {}}, options);
    EXPECT_EQ(run.choice.rfind("pilot: the junction tree exceeds the memory limit of 256 KiB; drew from ", 0), 0u)
        << run.choice;
    EXPECT_TRUE(run.sampling->targetMet.value_or(false));
    EXPECT_GT(run.sampling->drawn, samplenet::kDefaultSamples);
}

}  // namespace
