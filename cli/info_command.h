#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "cli/inference_arguments.h"
#include "lib/formats/read_limits.h"

namespace samplenet_cli {

struct InfoArguments {
    std::string networkPath;
    samplenet::ReadLimits readLimits;
    double memoryLimitGiB = 4.0;
    // Given either, the junction tree is the one exact inference would
    // build for them.
    EvidenceArguments evidence;
    std::vector<std::string> queries;
    // Given, info describes these nodes instead of the whole network.
    std::vector<std::string> nodes;
};

CLI::App* addInfoCommand(CLI::App& app, InfoArguments& arguments);

// Prints the network's structural figures on stdout.
void runInfo(const InfoArguments& arguments);

}  // namespace samplenet_cli
