#pragma once

#include <cstddef>
#include <functional>

namespace samplenet {

// Fills `into` with up to `room` bytes of text (fewer only at the end) and
// says how many; 0 at the end.
using TextPull = std::function<std::size_t(char* into, std::size_t room)>;

}  // namespace samplenet
