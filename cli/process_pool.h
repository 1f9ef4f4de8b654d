#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace samplenet_cli {

// work(0) ... work(count - 1), split into contiguous runs over `jobs` forked
// processes (in this process when jobs is 1), each process with its own copy
// of the state the work reads. Results come back in index order. Throws
// std::runtime_error when a process cannot be started or does not finish.
std::vector<std::string> runInProcesses(std::size_t count, int jobs,
                                        const std::function<std::string(std::size_t)>& work);

}  // namespace samplenet_cli
