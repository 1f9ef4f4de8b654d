#include <gtest/gtest.h>

#include <random>

#include "engine/random_state.h"
#include "engine/samplenet.h"
#include "host/qvr_clock.h"
#include "lib/sampling/importance_run.h"
#include "tests/engine/engine_run.h"
#include "tests/support/brute_force.h"
#include "tests/support/random_network.h"

namespace {

using namespace testing_support;
using samplenet::ImportanceSampler;
using samplenet::SamplingReport;
using samplenet::SamplingSettings;

struct Outcome {
    int code;
    std::vector<std::vector<double>> beliefs;
    long long seedAfter;
    int countQueries;
    SamplingReport report;
};

// The engine's own driver, sample after sample.
Outcome engineRun(const TinyNet& net, const std::vector<int>& evidence, ImportanceSampler sampler, int samples,
                  long seed) {
    TestHost host(net, evidence);
    host.sampleCount = samples;
    const int code = runDriver(host, sampler == ImportanceSampler::Epis ? Driver::Epis : Driver::Ais, seed);
    return {code, host.allBeliefs(), engine_random::Seed(), host.sampleCountQueries, {}};
}

// What the samples read is held once: the plan's copies, not the engine's
// tables and messages besides.
void expectEngineBuffersFreed(const SampleNet& engine) {
    for (int i = 0; i < engine.nodeCount; ++i) {
        const SampleNode& node = *engine.nodes[i];
        for (const QVR_Dmatrix* table : {node.importanceTable, node.totalTable}) EXPECT_EQ(table, nullptr) << "node " << i;
        EXPECT_EQ(node.messages, nullptr) << "node " << i;
        EXPECT_EQ(node.lambdaPrev.data, nullptr) << "node " << i;
    }
}

Outcome blockRun(const TinyNet& net, const std::vector<int>& evidence, ImportanceSampler sampler, int samples,
                 long seed, int jobs = 1, samplenet::Generator generator = samplenet::Generator::Standard) {
    TestHost host(net, evidence);
    host.sampleCount = samples;
    qvr_clock::FixReadings(seed, 0);
    SampleNet engine(host);
    engine.SetParameterForImportanceSampling();
    SamplingReport report;
    SamplingSettings settings;
    settings.jobs = jobs;
    settings.generator = generator;
    const int code = samplenet::runImportanceSampler(engine, sampler, settings, report);
    expectEngineBuffersFreed(engine);
    engine.ClearImportanceParameter();
    qvr_clock::UseRealClock();
    return {code, host.allBeliefs(), engine_random::Seed(), host.sampleCountQueries, report};
}

// Zeros in the tables end many samples early, at every depth, which moves
// where later samples start in the stream: the block path must follow.
TEST(BlockSampler, ReproducesTheEnginesDriversBitForBit) {
    std::mt19937 rng(41);
    int withEndedSamples = 0;
    for (int round = 0; round < 60; ++round) {
        const RandomNetworkShape shape{.variables = 4 + round % 9, .zeroShare = round % 3 == 0 ? 0.0 : 0.35};
        const TinyNet net = randomNetwork(rng, shape);
        const std::vector<int> evidence = sampledEvidence(rng, net, round % 2 == 0 ? 0.3 : 0.6);
        for (const auto sampler : {ImportanceSampler::Epis, ImportanceSampler::Ais}) {
            const int samples = 1 + static_cast<int>(rng() % 3000);
            const long seed = static_cast<long>(rng() % 32768);
            const Outcome expected = engineRun(net, evidence, sampler, samples, seed);
            const Outcome actual = blockRun(net, evidence, sampler, samples, seed);
            const std::string where = "round " + std::to_string(round) + ", samples " + std::to_string(samples);
            ASSERT_EQ(actual.code, expected.code) << where;
            EXPECT_EQ(actual.beliefs, expected.beliefs) << where;
            EXPECT_EQ(actual.seedAfter, expected.seedAfter) << where;
            EXPECT_EQ(actual.countQueries, expected.countQueries) << where;
            EXPECT_EQ(actual.report.drawn, samples) << where;
            EXPECT_EQ(actual.report.positive + actual.report.impossible, samples) << where;
            if (actual.report.impossible > 0) ++withEndedSamples;
        }
    }
    // The comparison only means something if samples did end early.
    EXPECT_GE(withEndedSamples, 8);
}

// Two jobs and the wide generator each give other samples than the
// standard single stream, repeatably, and the same posteriors within noise.
TEST(BlockSampler, JobsAndTheWideGeneratorAgreeWithEnumeration) {
    using samplenet::Generator;
    const TinyNet net = threeLayerLoopy();
    const std::vector<int> evidence = {-1, -1, 1, -1, -1, -1, 2};
    const ExactAnswer exact = enumerate(net, evidence);
    const Outcome one = blockRun(net, evidence, ImportanceSampler::Epis, 40000, 5, 1);
    for (const auto& [jobs, generator] : {std::pair{2, Generator::Standard}, std::pair{1, Generator::Wide},
                                          std::pair{2, Generator::Wide}}) {
        const std::string run = std::to_string(jobs) + " jobs, generator " + std::to_string(static_cast<int>(generator));
        const Outcome first = blockRun(net, evidence, ImportanceSampler::Epis, 40000, 5, jobs, generator);
        const Outcome again = blockRun(net, evidence, ImportanceSampler::Epis, 40000, 5, jobs, generator);
        ASSERT_EQ(first.code, 0) << run;
        EXPECT_EQ(first.beliefs, again.beliefs) << run;
        EXPECT_NE(first.beliefs, one.beliefs) << run;
        EXPECT_EQ(first.report.drawn, 40000) << run;
        EXPECT_EQ(first.report.distinct, 40000) << run;
        EXPECT_LT(largestDifference(first.beliefs, exact.posteriors), 0.02) << run;
    }
}

}  // namespace
