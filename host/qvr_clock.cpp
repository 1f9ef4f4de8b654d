#include "qvr_clock.h"

#include <ctime>
#include <optional>

namespace {
struct FixedReadings {
    long time;
    long clock;
};
std::optional<FixedReadings> fixedReadings;
}  // namespace

long QVR_time(long* out) {
    const long now = fixedReadings ? fixedReadings->time : static_cast<long>(std::time(nullptr));
    if (out != nullptr) *out = now;
    return now;
}

long QVR_clock() {
    return fixedReadings ? fixedReadings->clock : static_cast<long>(std::clock());
}

namespace qvr_clock {
void FixReadings(long time, long clock) { fixedReadings = FixedReadings{time, clock}; }
void UseRealClock() { fixedReadings.reset(); }
}  // namespace qvr_clock
