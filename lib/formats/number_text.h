#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace samplenet {

// Shortest text that reads back as exactly the same double.
std::string formatNumber(double value);
void appendNumber(std::string& out, double value);

// The whole of `text` as a number, or nullopt when it is not one.
std::optional<double> parseNumber(std::string_view text);

// What is wrong with `text` as a probability ("probability" when it is not a
// number, "non-negative probability" when negative or not finite), or
// nullopt when `value` received it.
std::optional<std::string> parseProbability(std::string_view text, double& value);

}  // namespace samplenet
