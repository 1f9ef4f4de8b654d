#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "lib/formats/read_limits.h"

namespace samplenet_cli {

struct InfoArguments {
    std::string networkPath;
    samplenet::ReadLimits readLimits;
    double memoryLimitGiB = 4.0;
};

CLI::App* addInfoCommand(CLI::App& app, InfoArguments& arguments);

// Prints the network's structural figures on stdout.
void runInfo(const InfoArguments& arguments);

}  // namespace samplenet_cli
