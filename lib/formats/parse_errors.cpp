#include "lib/formats/parse_errors.h"

#include "lib/model/errors.h"

namespace samplenet {

std::string ParseErrors::message(int line, std::string_view expected, std::string_view found) const {
    return path_ + ":" + std::to_string(line) + ": expected " + std::string(expected) + ", found " + std::string(found);
}

void ParseErrors::fail(int line, std::string_view expected, std::string_view found) const {
    throw ParseError(message(line, expected, found), path_, line);
}

}  // namespace samplenet
