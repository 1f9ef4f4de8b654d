#include "lib/explore/latest_wins_worker.h"

#include <utility>

namespace samplenet {

LatestWinsWorker::LatestWinsWorker() : thread([this] { loop(); }) {}

LatestWinsWorker::~LatestWinsWorker() {
    {
        std::lock_guard lock(mutex);
        stopping = true;
    }
    wake.notify_all();
    thread.join();
    if (waiting) waiting->reply.set_value(std::nullopt);
}

std::optional<Reply> LatestWinsWorker::run(std::function<Reply()> job) {
    std::future<std::optional<Reply>> reply;
    {
        std::lock_guard lock(mutex);
        // A job still waiting will never be wanted: its caller learns so now.
        // A running one's reply is dropped as stale (its caller stops it).
        if (waiting) waiting->reply.set_value(std::nullopt);
        waiting.emplace(Job{++generation, std::move(job), {}});
        reply = waiting->reply.get_future();
    }
    wake.notify_all();
    return reply.get();
}

std::uint64_t LatestWinsWorker::latestGeneration() const {
    std::lock_guard lock(mutex);
    return generation;
}

void LatestWinsWorker::loop() {
    while (true) {
        Job job;
        {
            std::unique_lock lock(mutex);
            wake.wait(lock, [this] { return stopping || waiting; });
            if (stopping) return;
            job = std::move(*waiting);
            waiting.reset();
        }
        std::optional<Reply> reply;
        try {
            reply = job.work();
        } catch (...) {
            job.reply.set_exception(std::current_exception());
            continue;
        }
        if (latestGeneration() != job.generation) reply.reset();
        job.reply.set_value(std::move(reply));
    }
}

}  // namespace samplenet
