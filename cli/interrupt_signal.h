#pragma once

#include "lib/inference/cancellation.h"

namespace samplenet_cli {

// While one is alive, SIGINT (Ctrl-C) stops the running inference, which
// throws RunCancelled within a few milliseconds, instead of killing the
// process. A second SIGINT kills it as usual, should the run not stop.
class InterruptibleRun {
public:
    InterruptibleRun();
    ~InterruptibleRun();
    InterruptibleRun(const InterruptibleRun&) = delete;
    InterruptibleRun& operator=(const InterruptibleRun&) = delete;

    samplenet::Cancellation cancellation() const;
};

}  // namespace samplenet_cli
