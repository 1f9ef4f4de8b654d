#pragma once

#include <algorithm>

#include "engine/samplenet.h"

// Loops over every node whose iterations write only their own node's data
// (or slots only that node writes), shared among the host's threads.
namespace node_tasks {

// Big enough that taking a task costs little beside its updates, small
// enough that threads finish a loop close together.
constexpr int kNodesPerTask = 256;

// Whether the host lends threads and the network gives them more than one
// task; otherwise the engine's loops run as they always have.
inline bool Shared(const SampleNet& net) {
    return net.adapter->GetThreadCount() > 1 && net.nodeCount > kNodesPerTask;
}

// Calls work(begin, end) for consecutive ranges of nodes that cover them all,
// on the host's threads (on the calling one when it lends none).
template <typename Work>
void ForRanges(const SampleNet& net, Work work) {
    const int tasks = (net.nodeCount + kNodesPerTask - 1) / kNodesPerTask;
    net.adapter->RunTasks(tasks, [&](int k) {
        const int begin = k * kNodesPerTask;
        work(begin, std::min(begin + kNodesPerTask, net.nodeCount));
    });
}

}  // namespace node_tasks
