#pragma once

#include <signal.h>

namespace samplenet_cli {

// While alive, SIGINT and SIGTERM are held back and recorded instead of
// ending the process at once, so that work can stop cleanly: they arrive
// only inside waits that let them through (ppoll with openMask()). SIGPIPE
// is ignored, so that a write to a process that died fails instead.
class StopSignals {
public:
    StopSignals();
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    // The signal that arrived, or 0.
    static int received();
    // The mask to wait with: the one from before, with both let through.
    const sigset_t& openMask() const { return openMask_; }
    // The signal handling from before: for a forked child, and at the end.
    void restore() const;
    // Ends the process by `signal`, as if it had not been held back.
    [[noreturn]] void endProcess(int signal) const;

private:
    sigset_t previousMask_;
    sigset_t openMask_;
    struct sigaction previousInt_, previousTerm_, previousPipe_;
};

// Thrown when a stop signal ended work before it was done.
struct Stopped {
    int signal;
};

}  // namespace samplenet_cli
