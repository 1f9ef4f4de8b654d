#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "lib/inference/cancellation.h"
#include "lib/inference/engine_lock.h"

namespace samplenet {

struct Progress {
    long samplesDone = 0;
    long samplesTotal = 0;
    double seconds = 0.0;
    bool finished = false;  // last report of a run that reported before
};

using ProgressCallback = std::function<void(const Progress&)>;

// Measures a run's time, reports progress of runs that last longer than a
// second, tells when a time budget is spent, and polls the run's
// Cancellation whenever it reads the time.
class RunTimer {
public:
    RunTimer(long samplesTotal, ProgressCallback progress, std::optional<double> maxSeconds = std::nullopt,
             Cancellation cancellation = {});
    RunTimer(const RunTimer&) = delete;
    RunTimer& operator=(const RunTimer&) = delete;
    ~RunTimer();

    // Called once per sample. The time is read about every millisecond (see
    // CancellationPoller). Throws RunCancelled once the run is to stop.
    void countSample() {
        ++samplesDone;
        step();
    }
    // A unit of work other than a sample: a node update of propagation, a
    // sample of AIS's learning stage.
    void step() {
        if (poller.step()) checkProgress();
    }
    // For runs that count their samples elsewhere: the samples drawn so far.
    // Returns false once the time budget is spent.
    bool poll(long samplesSoFar) {
        samplesDone = samplesSoFar;
        poller.read();
        checkProgress();
        return !outOfTime_;
    }
    // Whether the time budget was found spent at the last reading, which is
    // about a millisecond old.
    bool outOfTime() const { return outOfTime_; }
    // Ends the run: stops the time and closes any progress display.
    void finish();
    double seconds() const;

protected:
    using Clock = std::chrono::steady_clock;

    // Starts the time (and the budget) again: for a run that had to wait
    // before it could start.
    void restart();

    CancellationPoller poller;

private:
    void checkProgress();
    void report(bool finished);

    long samplesDone = 0;
    long samplesTotal;
    ProgressCallback progress;
    std::optional<double> maxSeconds;
    bool reported = false;
    bool outOfTime_ = false;
    Clock::time_point start;
    std::optional<Clock::time_point> deadline;
    std::optional<Clock::time_point> end;
    Clock::time_point lastReport;
};

// Every engine run goes through one RunClock. It fixes the samplers' clock
// readings for the run when a seed is given (they seed from the clock, and
// only the low 15 bits of the seed take effect), and holds the engine lock
// for the run (waiting for it while another run holds it); its time starts
// once it has the lock.
class RunClock : public RunTimer {
public:
    RunClock(std::optional<long> seed, long samplesTotal, ProgressCallback progress,
             std::optional<double> maxSeconds = std::nullopt, Cancellation cancellation = {});
    ~RunClock();

private:
    EngineLock lock;  // before anything touches the engine's state
    bool fixedSeed;
};

}  // namespace samplenet
