#include "lib/formats/number_text.h"

#include <charconv>
#include <cmath>

namespace samplenet {

void appendNumber(std::string& out, double value) {
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    out.append(buffer, result.ptr);
}

std::string formatNumber(double value) {
    std::string text;
    appendNumber(text, value);
    return text;
}

std::optional<double> parseNumber(std::string_view text) {
    // from_chars rejects a leading '+', which other writers may emit.
    if (text.size() > 1 && text.front() == '+' && text[1] != '-') text.remove_prefix(1);
    double value = 0.0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size()) return std::nullopt;
    return value;
}

std::optional<std::string> parseProbability(std::string_view text, double& value) {
    const auto number = parseNumber(text);
    if (!number) return "probability";
    if (!std::isfinite(*number) || *number < 0.0) return "non-negative probability";
    value = *number;
    return std::nullopt;
}

}  // namespace samplenet
