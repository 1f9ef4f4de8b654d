#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>
#include <vector>

#include "engine/samplenet.h"
#include "engine/sampler_steps.h"
#include "lib/generate/random_network.h"
#include "lib/inference/inference.h"
#include "lib/inference/network_adapter.h"
#include "lib/sampling/sampling_plan.h"

namespace {

using samplenet::Algorithm;
using samplenet::Evidence;
using samplenet::InferenceOptions;
using samplenet::Network;

// Enough nodes that the engine's loops over them split into many tasks,
// with zeros in the tables and parents reaching across task boundaries.
const Network& sharedNetwork() {
    static const Network network = samplenet::randomNetwork({.nodes = 2000, .zeroShare = 0.1, .seed = 5});
    return network;
}

// A few leaves and inner nodes observed, so that lambda messages travel.
Evidence someEvidence() {
    Evidence evidence;
    for (int v : {1999, 1998, 1500, 1100, 640}) evidence.hard[v] = 0;
    return evidence;
}

InferenceOptions lbp(int jobs) {
    InferenceOptions options;
    options.algorithm = Algorithm::Lbp;
    options.lbpIterations = 12;
    options.jobs = jobs;
    return options;
}

TEST(SharedLoops, LbpBeliefsAreOneThreadsBitForBit) {
    const auto one = samplenet::infer(sharedNetwork(), someEvidence(), lbp(1));
    InferenceOptions settling = lbp(1);
    settling.lbpIterations = 30;
    settling.lbpTolerance = 1e-6;
    const auto settledAlone = samplenet::infer(sharedNetwork(), someEvidence(), settling);
    for (int jobs : {2, 3}) {
        EXPECT_EQ(samplenet::infer(sharedNetwork(), someEvidence(), lbp(jobs)).posteriors, one.posteriors)
            << jobs << " jobs";
        settling.jobs = jobs;
        const auto settled = samplenet::infer(sharedNetwork(), someEvidence(), settling);
        EXPECT_EQ(settled.posteriors, settledAlone.posteriors) << jobs << " jobs";
        EXPECT_EQ(settled.propagation->iterations, settledAlone.propagation->iterations);
        EXPECT_EQ(settled.propagation->lastChange, settledAlone.propagation->lastChange);
    }
}

// What EPIS-BN samples from: every importance table after its propagation,
// and the plan the block sampler reads.
struct Prepared {
    std::vector<double> importance;
    std::vector<double> planEntries;  // cumulative, ratio, cumulative, ...
    std::vector<std::int32_t> fallbacks;
    std::vector<double> likelihoods;
};

Prepared prepareEpis(int threads) {
    samplenet::RunClock clock(7, 100, {});
    std::map<int, int> observed = someEvidence().hard;
    samplenet::NetworkAdapter adapter(sharedNetwork(), observed, EpisParams{8, 4, 8, 20, 0.006, 0.001, 0.0005, 0.0001},
                                      100, clock, threads);
    SampleNet net(adapter);
    net.SetParameterForImportanceSampling();
    sampler_steps::PrepareEpis(net);
    const samplenet::SamplingPlan plan(net);
    Prepared prepared;
    for (int i = 0; i < net.nodeCount; ++i) {
        const QVR_doubleArray& table = net.nodes[i]->importanceTable->data;
        prepared.importance.insert(prepared.importance.end(), table.data, table.data + table.numElements);
    }
    for (const auto& entry : plan.entries) {
        prepared.planEntries.push_back(entry.cumulative);
        prepared.planEntries.push_back(entry.ratio);
    }
    prepared.fallbacks = plan.fallbacks;
    prepared.likelihoods = plan.likelihoods;
    net.ClearImportanceParameter();
    return prepared;
}

TEST(SharedLoops, EpisTablesAndPlanAreOneThreadsBitForBit) {
    const Prepared one = prepareEpis(1);
    ASSERT_FALSE(one.likelihoods.empty());
    for (int threads : {2, 3}) {
        const Prepared shared = prepareEpis(threads);
        EXPECT_EQ(shared.importance, one.importance) << threads << " threads";
        EXPECT_EQ(shared.planEntries, one.planEntries) << threads << " threads";
        EXPECT_EQ(shared.fallbacks, one.fallbacks) << threads << " threads";
        EXPECT_EQ(shared.likelihoods, one.likelihoods) << threads << " threads";
    }
}

// The run's own thread polls between the tasks it takes; a stop request
// ends a propagation whose rounds are shared.
TEST(SharedLoops, AStopRequestEndsASharedPropagation) {
    InferenceOptions options = lbp(2);
    options.lbpIterations = 2'000'000'000;
    auto token = std::make_shared<samplenet::StopToken>();
    options.cancellation.token = token;
    auto run = std::async(std::launch::async, [&] { return samplenet::infer(sharedNetwork(), someEvidence(), options); });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    token->requestStop();
    EXPECT_THROW(run.get(), samplenet::RunCancelled);
}

}  // namespace
