#include "lib/inference/cancellation.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "lib/formats/formats.h"
#include "lib/inference/inference.h"
#include "tests/support/sampling_options.h"

namespace {

using samplenet::Algorithm;
using samplenet::InferenceOptions;
using samplenet::RunCancelled;
using samplenet::StopToken;

const samplenet::Network& alarm() {
    static const samplenet::Network network = samplenet::readNetwork(SAMPLENET_TEST_DATA "/networks/alarm.bif.gz");
    return network;
}

// Far longer than any test may wait: only a stop ends these runs in time.
InferenceOptions endless(Algorithm algorithm) {
    InferenceOptions options = testing_support::samplingOptions(algorithm, 2'000'000'000, 3);
    options.lbpIterations = 2'000'000'000;
    options.generator = samplenet::Generator::Wide;
    return options;
}

samplenet::InferenceResult seeded(Algorithm algorithm) {
    return samplenet::infer(alarm(), {{{0, 1}}, {}}, testing_support::samplingOptions(algorithm, 20000, 11));
}

// Each algorithm's loops poll: a token set before the run stops it at its
// first reading, whatever stage that is in.
TEST(Cancellation, EveryAlgorithmStopsOnARequestMadeBeforeTheRun) {
    auto token = std::make_shared<StopToken>();
    token->requestStop();
    for (Algorithm algorithm : {Algorithm::Epis, Algorithm::Ais, Algorithm::Lbp, Algorithm::Exact, Algorithm::Auto}) {
        InferenceOptions options = endless(algorithm);
        options.cancellation.token = token;
        EXPECT_THROW(samplenet::infer(alarm(), {}, options), RunCancelled) << samplenet::algorithmName(algorithm);
    }
}

// Another thread stops runs that would otherwise last for hours, with one
// job and with several (whose poll runs on the caller's thread while the
// jobs draw), and a run's own check stops it from its thread.
TEST(Cancellation, AnotherThreadOrTheRunsOwnCheckStopsALongRun) {
    for (Algorithm algorithm : {Algorithm::Epis, Algorithm::Ais, Algorithm::Lbp})
        for (int jobs : {1, 2}) {
            InferenceOptions options = endless(algorithm);
            options.jobs = jobs;
            auto token = std::make_shared<StopToken>();
            options.cancellation.token = token;
            auto run = std::async(std::launch::async, [&] { return samplenet::infer(alarm(), {}, options); });
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            token->requestStop();
            EXPECT_THROW(run.get(), RunCancelled) << samplenet::algorithmName(algorithm) << " jobs " << jobs;
        }
    InferenceOptions options = endless(Algorithm::Epis);
    const std::thread::id caller = std::this_thread::get_id();
    std::atomic<int> checks{0};
    bool onCallersThread = true;
    options.cancellation.check = [&] {
        onCallersThread = onCallersThread && std::this_thread::get_id() == caller;
        return ++checks == 3;
    };
    EXPECT_THROW(samplenet::infer(alarm(), {}, options), RunCancelled);
    EXPECT_EQ(checks, 3);
    EXPECT_TRUE(onCallersThread);
}

// Runs from two threads at once take turns on the engine: each gives what
// it gives alone. A run waiting for its turn can be cancelled meanwhile.
TEST(Cancellation, ConcurrentRunsTakeTurnsAndAWaitingRunCanBeCancelled) {
    const auto epis = seeded(Algorithm::Epis);
    const auto ais = seeded(Algorithm::Ais);
    for (int round = 0; round < 3; ++round) {
        auto first = std::async(std::launch::async, [] { return seeded(Algorithm::Epis); });
        auto second = std::async(std::launch::async, [] { return seeded(Algorithm::Ais); });
        EXPECT_EQ(first.get().posteriors, epis.posteriors);
        EXPECT_EQ(second.get().posteriors, ais.posteriors);
    }

    InferenceOptions longRun = endless(Algorithm::Epis);
    auto stopLong = std::make_shared<StopToken>();
    longRun.cancellation.token = stopLong;
    auto running = std::async(std::launch::async, [&] { return samplenet::infer(alarm(), {}, longRun); });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    InferenceOptions waiting = endless(Algorithm::Lbp);
    std::atomic<bool> waited{false};
    waiting.cancellation.check = [&] { return waited.exchange(true); };
    EXPECT_THROW(samplenet::infer(alarm(), {}, waiting), RunCancelled);
    EXPECT_EQ(running.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    stopLong->requestStop();
    EXPECT_THROW(running.get(), RunCancelled);
    // A cancelled run leaves no state behind: seeded runs repeat.
    EXPECT_EQ(seeded(Algorithm::Epis).posteriors, epis.posteriors);
}

}  // namespace
