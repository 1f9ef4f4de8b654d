#include "lib/inference/run_clock.h"

#include <algorithm>

#include "host/qvr_clock.h"

namespace samplenet {

namespace {
constexpr std::chrono::milliseconds kQuietStart{1000};
constexpr std::chrono::milliseconds kReportInterval{100};
}  // namespace

RunTimer::RunTimer(long samplesTotal, ProgressCallback progress, std::optional<double> maxSeconds,
                   Cancellation cancellation)
    : poller(std::move(cancellation)), samplesTotal(samplesTotal), progress(std::move(progress)),
      maxSeconds(maxSeconds) {
    restart();
}

void RunTimer::restart() {
    start = Clock::now();
    lastReport = start;
    if (maxSeconds) deadline = start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(*maxSeconds));
}

RunTimer::~RunTimer() {
    // A cancelled run still closes its progress display.
    if (reported && !end) {
        try {
            report(true);
        } catch (...) {
        }
    }
}

void RunTimer::finish() {
    if (end) return;
    end = Clock::now();
    if (reported) report(true);
}

double RunTimer::seconds() const {
    return std::chrono::duration<double>(end.value_or(Clock::now()) - start).count();
}

RunClock::RunClock(std::optional<long> seed, long samplesTotal, ProgressCallback progress,
                   std::optional<double> maxSeconds, Cancellation cancellation)
    : RunTimer(samplesTotal, std::move(progress), maxSeconds, std::move(cancellation)),
      lock(poller),
      fixedSeed(seed.has_value()) {
    // The samplers seed from time XOR clock; a fixed time and a zero clock
    // make that the seed itself.
    if (seed) qvr_clock::FixReadings(*seed, 0);
    restart();
}

RunClock::~RunClock() {
    if (fixedSeed) qvr_clock::UseRealClock();
}

void RunTimer::checkProgress() {
    if (!progress && !deadline) return;
    const auto now = poller.lastReading();
    if (deadline && now >= *deadline) outOfTime_ = true;
    if (!progress) return;
    if (now - start < kQuietStart || now - lastReport < kReportInterval) return;
    lastReport = now;
    report(false);
}

void RunTimer::report(bool finished) {
    reported = true;
    progress(Progress{std::min(samplesDone, samplesTotal), samplesTotal, seconds(), finished});
}

}  // namespace samplenet
