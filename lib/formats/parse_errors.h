#pragma once

#include <string>
#include <string_view>

#include "lib/formats/text_util.h"

namespace samplenet {

// "'text'": how a found token appears in a parse error.
inline std::string quoted(std::string_view text) { return concat({"'", text, "'"}); }

// Formats the one-line messages of a file's parse errors.
class ParseErrors {
public:
    explicit ParseErrors(std::string path) : path_(std::move(path)) {}

    const std::string& path() const { return path_; }
    // "path:line: expected <expected>, found <found>"
    std::string message(int line, std::string_view expected, std::string_view found) const;
    // Throws ParseError with that message.
    [[noreturn]] void fail(int line, std::string_view expected, std::string_view found) const;

private:
    std::string path_;
};

}  // namespace samplenet
