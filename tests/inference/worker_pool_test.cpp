#include "lib/util/worker_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using samplenet::WorkerPool;

TEST(WorkerPool, RunsEveryTaskOnceLoopAfterLoopWithTheCallersStepsOnItsThread) {
    WorkerPool pool(3);
    ASSERT_EQ(pool.threads(), 3);
    const std::thread::id caller = std::this_thread::get_id();
    for (int loop = 0; loop < 20; ++loop) {
        const int count = loop * 7;
        std::vector<std::atomic<int>> runs(count);
        std::atomic<int> steps{0};
        bool stepsOnCaller = true;
        pool.run(count, [&](int k) { runs[k].fetch_add(1); },
                 [&] {
                     stepsOnCaller = stepsOnCaller && std::this_thread::get_id() == caller;
                     ++steps;
                 });
        for (int k = 0; k < count; ++k) ASSERT_EQ(runs[k].load(), 1) << "loop " << loop << " task " << k;
        EXPECT_TRUE(stepsOnCaller);
        EXPECT_LE(steps.load(), count);
    }
}

TEST(WorkerPool, AFailureStopsTheLoopAndLeavesOnceTasksHaveReturnedAndThePoolStaysUsable) {
    WorkerPool pool(2);
    std::atomic<int> running{0};
    std::atomic<int> started{0};
    int failing = 3;
    const auto slow = [&](int k) {
        ++started;
        ++running;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
        --running;
        if (k == failing) throw std::runtime_error("task 3");
    };
    EXPECT_THROW(pool.run(1000, slow), std::runtime_error);
    EXPECT_EQ(running.load(), 0);
    EXPECT_LT(started.load(), 1000);

    // A stop from the caller's step, as a cancelled run's clock throws.
    started = 0;
    failing = -1;
    int steps = 0;
    EXPECT_THROW(pool.run(1000, slow, [&] {
        if (++steps == 2) throw std::logic_error("stop");
    }), std::logic_error);
    EXPECT_EQ(running.load(), 0);
    EXPECT_LT(started.load(), 1000);

    std::atomic<int> total{0};
    pool.run(50, [&](int k) { total += k; });
    EXPECT_EQ(total.load(), 49 * 50 / 2);
}

}  // namespace
