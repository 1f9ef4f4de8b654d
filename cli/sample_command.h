#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "cli/inference_arguments.h"
#include "lib/formats/read_limits.h"

namespace samplenet_cli {

struct SampleArguments {
    std::string networkPath;
    EvidenceArguments evidence;
    std::vector<std::string> interventions;  // --do NODE=STATE
    long count = 0;
    long seed = 0;  // used only when given
    std::string output;  // empty: standard output
    samplenet::ReadLimits readLimits;
};

CLI::App* addSampleCommand(CLI::App& app, SampleArguments& arguments);

// Writes forward samples as CSV, a row at a time.
void runSample(const SampleArguments& arguments, const CLI::App& command);

}  // namespace samplenet_cli
