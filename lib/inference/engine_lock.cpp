#include "lib/inference/engine_lock.h"

namespace samplenet {

namespace {
constexpr std::chrono::milliseconds kWaitBetweenPolls{10};

std::timed_mutex& engineMutex() {
    static std::timed_mutex mutex;
    return mutex;
}
}  // namespace

EngineLock::EngineLock(CancellationPoller& poller) : lock(engineMutex(), std::defer_lock) {
    while (!lock.try_lock_for(kWaitBetweenPolls)) poller.read();
}

}  // namespace samplenet
