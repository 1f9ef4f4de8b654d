#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "cli/run_options.h"

namespace samplenet_cli {

struct InferArguments {
    std::string networkPath;  // empty: the built-in example
    std::vector<std::string> evidence;
    std::string evidenceFile;
    RunOptions run;
    std::vector<std::string> queries;
    std::string format = "table";
};

CLI::App* addInferCommand(CLI::App& app, InferArguments& arguments);

// Prints the posteriors on stdout; throws on any failure before printing.
void runInfer(InferArguments arguments, const CLI::App& command);

}  // namespace samplenet_cli
