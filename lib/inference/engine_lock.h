#pragma once

#include <mutex>

#include "lib/inference/cancellation.h"

namespace samplenet {

// The inference engine keeps process-wide state (its random generator, the
// clock readings a seed fixes), so one engine run at a time may use it in a
// process. Every engine run holds this lock, whichever thread or language
// starts it; others wait, and can be cancelled while they wait. Exact
// inference keeps no global state and does not take it.
class EngineLock {
public:
    explicit EngineLock(CancellationPoller& poller);
    EngineLock(const EngineLock&) = delete;
    EngineLock& operator=(const EngineLock&) = delete;

private:
    std::unique_lock<std::timed_mutex> lock;
};

}  // namespace samplenet
