#include "cli/interrupt_signal.h"

#include <csignal>

namespace samplenet_cli {

namespace {

samplenet::StopToken& interrupted() {
    static samplenet::StopToken token;
    return token;
}

extern "C" void onInterrupt(int) {
    interrupted().requestStop();
    std::signal(SIGINT, SIG_DFL);
}

}  // namespace

InterruptibleRun::InterruptibleRun() {
    interrupted();  // constructed before the handler can use it
    std::signal(SIGINT, onInterrupt);
}

InterruptibleRun::~InterruptibleRun() { std::signal(SIGINT, SIG_DFL); }

samplenet::Cancellation InterruptibleRun::cancellation() const {
    // The token lives as long as the process: the pointer owns nothing.
    return {std::shared_ptr<const samplenet::StopToken>(std::shared_ptr<void>(), &interrupted()), {}};
}

}  // namespace samplenet_cli
