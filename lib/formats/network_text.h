#pragma once

#include <string>
#include <string_view>

#include "lib/model/errors.h"

namespace samplenet {

// What some editors write at the start of a UTF-8 text file; readers skip it.
inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// The part of a network file's text that readers parse: without a UTF-8
// byte-order mark. Throws noNetwork for a text of nothing but white space.
std::string_view networkText(std::string_view text, const std::string& path);

// "PATH: no network in the file": for an empty file, or one that declares
// no variable.
ParseError noNetwork(const std::string& path);

}  // namespace samplenet
