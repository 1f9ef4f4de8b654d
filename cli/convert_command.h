#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "lib/formats/read_limits.h"

namespace samplenet_cli {

struct ConvertArguments {
    std::string input;
    std::string output;
    samplenet::ReadLimits readLimits;
};

CLI::App* addConvertCommand(CLI::App& app, ConvertArguments& arguments);

// Writes the output completely or not at all.
void runConvert(const ConvertArguments& arguments);

}  // namespace samplenet_cli
