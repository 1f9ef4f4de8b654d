#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace samplenet {

// `text` without leading and trailing white space.
inline std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blank = " \t\r\n\f\v";
    const auto first = text.find_first_not_of(blank);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blank) - first + 1);
}

// The parts appended in order. Preferred to `"literal" + std::string`, which
// GCC 12 at -O3 misreports as an overlapping copy.
inline std::string concat(std::initializer_list<std::string_view> parts) {
    std::string result;
    for (std::string_view part : parts) result += part;
    return result;
}

// A CSV field (RFC 4180): quoted when it holds separators, quotes or line
// breaks.
inline std::string csvField(const std::string& field) {
    if (field.find_first_of(",\"\r\n") == std::string::npos) return field;
    std::string quoted = "\"";
    for (char c : field) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + "\"";
}

}  // namespace samplenet
