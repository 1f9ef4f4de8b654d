#pragma once

#include <string_view>

namespace samplenet {

// `text` without leading and trailing white space.
inline std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blank = " \t\r\n\f\v";
    const auto first = text.find_first_not_of(blank);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blank) - first + 1);
}

}  // namespace samplenet
