#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace samplenet {

// Threads kept for the length of a run, to share loops whose iterations are
// independent. The calling thread works too: a pool of n threads starts
// n - 1, which wait between loops instead of being started for each.
class WorkerPool {
public:
    explicit WorkerPool(int threads);
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;
    ~WorkerPool();

    int threads() const { return static_cast<int>(workers.size()) + 1; }

    // Calls task(k) once for every k in [0, count), tasks taken in turn by
    // whichever thread is free, and returns once all calls have returned.
    // `between` runs on the calling thread after each task it ran itself.
    // An exception, from a task or from `between`, stops the handing out of
    // tasks and leaves once the tasks still running have returned.
    void run(int count, const std::function<void(int)>& task, const std::function<void()>& between = {});

private:
    void work();
    // Runs tasks until none is left or the loop is stopping.
    void take(const std::function<void()>* between);
    void fail(std::exception_ptr failure);

    std::vector<std::thread> workers;
    std::mutex mutex;
    std::condition_variable started;
    std::condition_variable finished;
    // The current loop, all guarded by `mutex`: taking a task locks it,
    // which costs little beside a task of hundreds of node updates.
    const std::function<void(int)>* task = nullptr;
    int count = 0;
    int next = 0;
    long loop = 0;     // loops started, so that a worker joins each once
    int busy = 0;      // workers still in the current loop
    bool stopping = false;
    bool closing = false;
    std::exception_ptr failure;
};

}  // namespace samplenet
