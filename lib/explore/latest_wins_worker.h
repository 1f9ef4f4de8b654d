#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <future>
#include <mutex>
#include <optional>
#include <thread>

#include "lib/explore/reply.h"

namespace samplenet {

// Runs jobs one at a time on its own thread, newest first: a job submitted
// while another waits replaces it, and one submitted while another runs
// makes that one's reply stale. Each job carries the generation it was
// submitted in; a reply is handed back only when no newer job came before it
// finished, so a slow old run never overwrites a newer one. (Inference runs
// must not overlap anyway: the samplers' state is process-wide.)
class LatestWinsWorker {
public:
    LatestWinsWorker();
    LatestWinsWorker(const LatestWinsWorker&) = delete;
    LatestWinsWorker& operator=(const LatestWinsWorker&) = delete;
    ~LatestWinsWorker();

    // Runs `job` on the worker thread and waits for it. nullopt: a newer job
    // was submitted before this one's reply was ready.
    std::optional<Reply> run(std::function<Reply()> job);

    // The generation of the newest job submitted.
    std::uint64_t latestGeneration() const;

private:
    struct Job {
        std::uint64_t generation;
        std::function<Reply()> work;
        std::promise<std::optional<Reply>> reply;
    };

    void loop();

    mutable std::mutex mutex;
    std::condition_variable wake;
    std::optional<Job> waiting;
    std::uint64_t generation = 0;
    bool stopping = false;
    std::thread thread;
};

}  // namespace samplenet
