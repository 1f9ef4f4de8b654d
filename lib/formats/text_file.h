#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "lib/formats/read_limits.h"

namespace samplenet {

// Whole contents of a file, gunzipped if it is gzip-compressed (plain files
// are read as they are). Throws ParseError "path: cannot open file: reason",
// "path: cannot read file: reason", or "path: expected at most N bytes ..."
// for a text longer than `maxBytes`.
std::string readTextFile(const std::string& path, std::size_t maxBytes = ReadLimits{}.maxTextBytes);

// `bytes` gunzipped when they start with the gzip magic (members one after
// another are joined), otherwise as they are; errors as readTextFile's,
// labelled with `path`.
std::string decompressed(std::string_view bytes, const std::string& path, std::size_t maxBytes);

// Writes `text`, gzip-compressed when `compress`, as OutputFile writes: a
// regular file is replaced whole or left as it was. Throws FileError "path:
// cannot write file: reason".
void writeTextFile(const std::string& path, std::string_view text, bool compress);

}  // namespace samplenet
