#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "lib/formats/read_limits.h"
#include "lib/inference/inference.h"

namespace samplenet_cli {

struct InferArguments {
    std::string networkPath;  // empty: the built-in example
    std::vector<std::string> evidence;
    std::string evidenceFile;
    std::string algorithm = "epis";
    samplenet::InferenceOptions options;
    long seed = 0;  // used only when given
    double maxSeconds = 0.0;  // used only when given
    double memoryLimitGiB = 4.0;
    std::vector<std::string> queries;
    std::string format = "table";
    samplenet::ReadLimits readLimits;
};

CLI::App* addInferCommand(CLI::App& app, InferArguments& arguments);

// Prints the posteriors on stdout; throws on any failure before printing.
void runInfer(InferArguments arguments, const CLI::App& command);

}  // namespace samplenet_cli
