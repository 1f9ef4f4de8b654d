#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace samplenet {

// "samplenet: note: MESSAGE" on standard error.
void noteOnStandardError(const std::string& message);

// Bounds a reader enforces before it allocates, so that a corrupt or hostile
// file ends in a clear error instead of an allocation failure. The defaults
// hold every network of data/networks many times over.
struct ReadLimits {
    // Bytes of a file's text, after decompression; of its longest token for
    // a text read a window at a time (UAI files), which is never held whole.
    std::size_t maxTextBytes = std::size_t{1} << 30;
    // States of one variable.
    std::size_t maxStates = 1 << 16;
    // Entries of one variable's table (2^24 entries take 128 MiB).
    std::size_t maxTableEntries = std::size_t{1} << 24;
    // Entries of all tables together (2^26 entries take 512 MiB).
    std::size_t maxTotalEntries = std::size_t{1} << 26;
    // A column of a table that sums to within this of 1 is rescaled to sum
    // to 1 (tables written with six decimals sum to 0.999999); further off,
    // the file is refused.
    double sumTolerance = 1e-4;
    // Told, once per file, of the columns a reader rescaled; by default a
    // note on standard error. Empty: nobody is told.
    std::function<void(const std::string&)> note = noteOnStandardError;
};

}  // namespace samplenet
