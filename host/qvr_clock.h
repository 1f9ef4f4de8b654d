#pragma once

// Clock readings that seed the samplers. They read the real clock unless a
// host has fixed them, which makes a sampling run repeatable.
long QVR_time(long* out);
long QVR_clock();

namespace qvr_clock {
// From now on QVR_time returns `time` and QVR_clock returns `clock`.
void FixReadings(long time, long clock);
// Back to the real clock.
void UseRealClock();
}  // namespace qvr_clock
