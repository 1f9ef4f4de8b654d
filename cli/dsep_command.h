#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "lib/formats/read_limits.h"

namespace samplenet_cli {

struct DsepArguments {
    std::string networkPath;
    std::string a;  // node names separated by commas
    std::string b;
    std::vector<std::string> given;
    std::string format = "text";
    samplenet::ReadLimits readLimits;
};

CLI::App* addDsepCommand(CLI::App& app, DsepArguments& arguments);

// Prints "yes" when the sets are d-separated given the others and "no"
// when they are not (or the JSON of it); either way a success.
void runDsep(const DsepArguments& arguments);

}  // namespace samplenet_cli
