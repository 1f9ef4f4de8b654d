#include "lib/inference/cancellation.h"

namespace samplenet {

namespace {
constexpr std::chrono::microseconds kShortestGap{250};
constexpr std::chrono::microseconds kLongestGap{2000};
constexpr std::chrono::milliseconds kCheckInterval{50};
constexpr long kMostStepsPerReading = 1L << 20;
}  // namespace

CancellationPoller::CancellationPoller(Cancellation cancellation)
    : cancellation(std::move(cancellation)), last(Clock::now()), lastCheck(last) {}

void CancellationPoller::read() {
    const Clock::time_point now = Clock::now();
    const auto gap = now - last;
    if (gap < kShortestGap && stepsPerReading < kMostStepsPerReading) {
        stepsPerReading *= 2;
    } else if (gap > kLongestGap && stepsPerReading > 1) {
        stepsPerReading /= 2;
    }
    steps = 0;
    last = now;
    if (cancellation.token && cancellation.token->stopRequested()) throw RunCancelled();
    if (cancellation.check && now - lastCheck >= kCheckInterval) {
        lastCheck = now;
        if (cancellation.check()) throw RunCancelled();
    }
}

}  // namespace samplenet
