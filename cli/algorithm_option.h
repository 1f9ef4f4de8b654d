#pragma once

#include <string>

namespace samplenet_cli {

// CLI11 validator: empty when `name` names an algorithm, else the message.
std::string checkAlgorithmName(const std::string& name);

}  // namespace samplenet_cli
