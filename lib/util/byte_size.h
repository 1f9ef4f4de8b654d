#pragma once

#include <cstddef>
#include <string>

namespace samplenet {

// "1.5 GiB": a size as memory messages show it.
std::string describeBytes(std::size_t bytes);

}  // namespace samplenet
