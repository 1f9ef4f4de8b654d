#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "cli/stop_signals.h"

namespace samplenet_cli {

// What a pool's worker does: one task's text in, its result's text out.
using PoolWork = std::function<std::string(std::string_view task)>;

// Streams the tasks `next` yields (nullopt at the end) through `jobs`
// forked worker processes running `work`, each with its own copy of the
// state the work reads, and hands every result to `done` in task order. At
// most `window` tasks are between `next` and `done` at any time, so memory
// stays bounded whatever the number of tasks. Throws std::runtime_error when
// a worker cannot be started or dies, and Stopped when `signals` record a
// stop; the workers are gone either way.
void runInProcesses(int jobs, std::size_t window, const std::function<std::optional<std::string>()>& next,
                    const PoolWork& work, const std::function<void(std::string&&)>& done,
                    const StopSignals& signals);

}  // namespace samplenet_cli
