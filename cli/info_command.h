#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace samplenet_cli {

CLI::App* addInfoCommand(CLI::App& app, std::string& networkPath);

// Prints the network's structural figures on stdout.
void runInfo(const std::string& networkPath);

}  // namespace samplenet_cli
