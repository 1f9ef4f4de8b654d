#pragma once

#include <cstddef>

namespace samplenet {

// Bounds a reader enforces before it allocates, so that a corrupt or hostile
// file ends in a clear error instead of an allocation failure. The defaults
// hold every network of data/networks many times over.
struct ReadLimits {
    // Bytes of a file's text, after decompression.
    std::size_t maxTextBytes = std::size_t{1} << 30;
    // States of one variable.
    std::size_t maxStates = 1 << 16;
    // Entries of one variable's table (2^24 entries take 128 MiB).
    std::size_t maxTableEntries = std::size_t{1} << 24;
    // Entries of all tables together (2^26 entries take 512 MiB).
    std::size_t maxTotalEntries = std::size_t{1} << 26;
};

}  // namespace samplenet
