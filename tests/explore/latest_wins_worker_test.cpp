#include "lib/explore/latest_wins_worker.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>

namespace samplenet {
namespace {

Reply replying(const std::string& body) { return Reply{200, "text/plain", body, ""}; }

// A run overtaken while it runs hands back nothing; one overtaken while it
// waits never runs; the newest runs and answers.
TEST(LatestWinsWorker, OnlyTheNewestRequestGetsItsReply) {
    LatestWinsWorker worker;
    std::promise<void> started, release;
    std::shared_future<void> released = release.get_future().share();
    std::atomic<int> runs{0};
    auto first = std::async(std::launch::async, [&] {
        return worker.run([&] {
            ++runs;
            started.set_value();
            released.wait();
            return replying("first");
        });
    });
    started.get_future().wait();
    auto second = std::async(std::launch::async, [&] {
        return worker.run([&] {
            ++runs;
            return replying("second");
        });
    });
    while (worker.latestGeneration() < 2) std::this_thread::yield();
    auto third = std::async(std::launch::async, [&] {
        return worker.run([&] {
            ++runs;
            return replying("third");
        });
    });
    EXPECT_EQ(second.get(), std::nullopt);
    release.set_value();
    EXPECT_EQ(first.get(), std::nullopt);
    const std::optional<Reply> newest = third.get();
    ASSERT_TRUE(newest);
    EXPECT_EQ(newest->body, "third");
    EXPECT_EQ(runs, 2);
    // A failing job's exception reaches its caller, and the worker goes on.
    EXPECT_THROW(worker.run([]() -> Reply { throw std::runtime_error("failed"); }), std::runtime_error);
    EXPECT_EQ(worker.run([] { return replying("again"); })->body, "again");
}

}  // namespace
}  // namespace samplenet
