#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace samplenet_cli {

// CLI11 validator: empty when `name` names an algorithm, else the message.
std::string checkAlgorithmName(const std::string& name);

// Accept whole numbers of at least `minimum`, and numbers above `bound`,
// with a message that says so.
CLI::Validator wholeNumberAtLeast(long minimum);
CLI::Validator numberAbove(double bound);

}  // namespace samplenet_cli
