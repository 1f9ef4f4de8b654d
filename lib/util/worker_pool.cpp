#include "lib/util/worker_pool.h"

namespace samplenet {

WorkerPool::WorkerPool(int threads) {
    for (int k = 1; k < threads; ++k) workers.emplace_back([this] { work(); });
}

WorkerPool::~WorkerPool() {
    {
        std::lock_guard lock(mutex);
        closing = true;
    }
    started.notify_all();
    for (std::thread& worker : workers) worker.join();
}

void WorkerPool::fail(std::exception_ptr thrown) {
    std::lock_guard lock(mutex);
    if (!failure) failure = thrown;
    stopping = true;
}

void WorkerPool::take(const std::function<void()>* between) {
    for (;;) {
        int k;
        {
            std::lock_guard lock(mutex);
            if (stopping || next >= count) return;
            k = next++;
        }
        try {
            (*task)(k);
            if (between && *between) (*between)();
        } catch (...) {
            fail(std::current_exception());
            return;
        }
    }
}

void WorkerPool::work() {
    long joined = 0;
    for (;;) {
        {
            std::unique_lock lock(mutex);
            started.wait(lock, [&] { return closing || loop != joined; });
            if (closing) return;
            joined = loop;
        }
        take(nullptr);
        {
            std::lock_guard lock(mutex);
            --busy;
        }
        finished.notify_one();
    }
}

void WorkerPool::run(int tasks, const std::function<void(int)>& work, const std::function<void()>& between) {
    if (tasks <= 0) return;
    {
        std::lock_guard lock(mutex);
        task = &work;
        count = tasks;
        next = 0;
        stopping = false;
        failure = nullptr;
        busy = static_cast<int>(workers.size());
        ++loop;
    }
    started.notify_all();
    take(&between);
    std::exception_ptr thrown;
    {
        std::unique_lock lock(mutex);
        finished.wait(lock, [&] { return busy == 0; });
        thrown = failure;
        task = nullptr;
    }
    if (thrown) std::rethrow_exception(thrown);
}

}  // namespace samplenet
