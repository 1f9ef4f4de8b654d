#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "lib/formats/read_limits.h"
#include "lib/generate/random_network.h"

namespace samplenet_cli {

struct GenerateArguments {
    std::string output;
    samplenet::RandomNetworkOptions shape;
    // --states MIN,MAX, or one count for every node.
    std::vector<int> states;
    samplenet::ReadLimits readLimits;
};

CLI::App* addGenerateCommand(CLI::App& app, GenerateArguments& arguments);

// Writes the network completely or not at all.
void runGenerate(GenerateArguments arguments);

}  // namespace samplenet_cli
