#pragma once

#include <string>
#include <string_view>

namespace samplenet {

// Whole contents of a file, gunzipped if it is gzip-compressed (plain files
// are read as they are). Throws ParseError "path: cannot open file: reason".
std::string readTextFile(const std::string& path);

// Replaces the file's contents with `text`, gzip-compressed when `compress`.
// Throws ParseError "path: cannot write file: reason".
void writeTextFile(const std::string& path, std::string_view text, bool compress);

}  // namespace samplenet
