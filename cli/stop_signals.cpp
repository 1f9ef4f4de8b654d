#include "cli/stop_signals.h"

#include <unistd.h>

#include <csignal>
#include <utility>

namespace samplenet_cli {

namespace {

volatile std::sig_atomic_t receivedSignal = 0;

extern "C" void recordSignal(int signal) { receivedSignal = signal; }

}  // namespace

StopSignals::StopSignals() {
    receivedSignal = 0;
    sigset_t stops;
    sigemptyset(&stops);
    sigaddset(&stops, SIGINT);
    sigaddset(&stops, SIGTERM);
    sigprocmask(SIG_BLOCK, &stops, &previousMask_);
    openMask_ = previousMask_;
    sigdelset(&openMask_, SIGINT);
    sigdelset(&openMask_, SIGTERM);
    struct sigaction record {};
    record.sa_handler = recordSignal;
    sigemptyset(&record.sa_mask);
    // A signal ignored before (a background job's SIGINT) stays ignored.
    for (auto [signal, previous] : {std::pair{SIGINT, &previousInt_}, std::pair{SIGTERM, &previousTerm_}}) {
        sigaction(signal, nullptr, previous);
        if (previous->sa_handler != SIG_IGN) sigaction(signal, &record, nullptr);
    }
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigemptyset(&ignore.sa_mask);
    sigaction(SIGPIPE, &ignore, &previousPipe_);
}

StopSignals::~StopSignals() { restore(); }

int StopSignals::received() { return receivedSignal; }

void StopSignals::restore() const {
    sigaction(SIGINT, &previousInt_, nullptr);
    sigaction(SIGTERM, &previousTerm_, nullptr);
    sigaction(SIGPIPE, &previousPipe_, nullptr);
    sigprocmask(SIG_SETMASK, &previousMask_, nullptr);
}

void StopSignals::endProcess(int signal) const {
    std::signal(signal, SIG_DFL);
    sigprocmask(SIG_SETMASK, &openMask_, nullptr);
    raise(signal);
    _exit(128 + signal);  // when the signal was ignored before we started
}

}  // namespace samplenet_cli
