#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace samplenet_cli {

// CLI11 validator: empty when `name` names an algorithm, else the message.
std::string checkAlgorithmName(const std::string& name);

// Accepts whole numbers of at least `minimum`, with a message that says so.
CLI::Validator wholeNumberAtLeast(long minimum);

}  // namespace samplenet_cli
