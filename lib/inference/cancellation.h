#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>

namespace samplenet {

// A request to stop runs, which any thread may make: a server cancels a
// client's run from its request handler, a signal handler sets it on SIGINT
// (the flag is lock-free, so setting it is async-signal-safe).
class StopToken {
public:
    void requestStop() noexcept { stop.store(true, std::memory_order_relaxed); }
    bool stopRequested() const noexcept { return stop.load(std::memory_order_relaxed); }

private:
    std::atomic<bool> stop{false};
    static_assert(std::atomic<bool>::is_always_lock_free);
};

// How a caller can stop a run before it ends. A run (any algorithm, and
// while it waits for the engine) reads the token about every millisecond of
// its work and calls `check` about every 50 ms, both on the run's own thread;
// either one stopping ends the run with RunCancelled, which leaves no partial
// result and no state behind. `check` is where a host runs code of its own
// between steps of a run: Python checks its signals there.
//
//     auto token = std::make_shared<samplenet::StopToken>();
//     options.cancellation.token = token;    // token->requestStop() from any thread
//     infer(network, evidence, options);     // throws RunCancelled once stopped
struct Cancellation {
    std::shared_ptr<const StopToken> token;
    std::function<bool()> check;  // true: stop
};

// A run stopped through its Cancellation.
class RunCancelled : public std::runtime_error {
public:
    RunCancelled() : std::runtime_error("interrupted") {}
};

// Polls a Cancellation from the loops of a run. The loops call step() once
// per unit of work (a sample, a node update, a clique operation), whose cost
// differs by network and algorithm by factors of a million; the poller reads
// the clock only every so many steps, and adapts that count so that readings
// come about every millisecond whatever a step costs.
class CancellationPoller {
public:
    using Clock = std::chrono::steady_clock;

    explicit CancellationPoller(Cancellation cancellation);

    // One unit of work done. Returns true when it read the clock (then
    // lastReading() is now). Throws RunCancelled once the run is to stop.
    bool step() {
        if (++steps < stepsPerReading) return false;
        read();
        return true;
    }
    // Reads the clock and polls now.
    void read();
    Clock::time_point lastReading() const { return last; }

private:
    Cancellation cancellation;
    long steps = 0;
    long stepsPerReading = 1;
    Clock::time_point last;
    Clock::time_point lastCheck;
};

}  // namespace samplenet
