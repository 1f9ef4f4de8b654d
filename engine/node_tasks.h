#pragma once

#include <algorithm>

#include "engine/samplenet.h"

// Loops over every node whose iterations write only their own node's data
// (or slots only that node writes), shared among the host's threads.
namespace node_tasks {

// Fewer nodes than this are not worth a task of their own.
constexpr int kNodesPerTask = 256;
// Tasks per thread and loop: enough that threads finish a loop close
// together, few enough that ranges are long. An update writes into its
// neighbours' buffers, which lie mostly in the same range: the fewer the
// boundaries between ranges, the fewer cache lines two threads share.
constexpr int kTasksPerThread = 16;

// Whether the host lends threads and the network gives them more than one
// task; otherwise the engine's loops run as they always have.
inline bool Shared(const SampleNet& net) {
    return net.adapter->GetThreadCount() > 1 && net.nodeCount > kNodesPerTask;
}

// Calls work(begin, end) for consecutive ranges of nodes that cover them all,
// on the host's threads (on the calling one when it lends none).
template <typename Work>
void ForRanges(const SampleNet& net, Work work) {
    const int count = net.nodeCount;
    const int spread = (count + net.adapter->GetThreadCount() * kTasksPerThread - 1) /
                       (net.adapter->GetThreadCount() * kTasksPerThread);
    const int length = std::max(kNodesPerTask, spread);
    net.adapter->RunTasks((count + length - 1) / length, [&](int k) {
        const int begin = k * length;
        work(begin, std::min(begin + length, count));
    });
}

}  // namespace node_tasks
