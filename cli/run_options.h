#pragma once

#include <CLI/CLI.hpp>
#include <cstddef>
#include <string>
#include <vector>

#include "lib/inference/inference.h"

namespace samplenet_cli {

// The options that choose and tune an inference run, shared by the commands
// that run inference.
struct RunOptions {
    std::string algorithm = "epis";
    samplenet::InferenceOptions options;
    int samples = samplenet::kDefaultSamples;  // used only when given
    long seed = 0;            // used only when given
    double maxSeconds = 0.0;  // used only when given
    double memoryLimitGiB = 4.0;
};

void addRunOptions(CLI::App& command, RunOptions& run);

// --memory-limit GIB, as infer and info take it, and its value in bytes.
void addMemoryLimitOption(CLI::App& command, double& gib, const std::string& description);
std::size_t memoryLimitBytes(double gib);

// The library's options from what was parsed; the seed only when given.
samplenet::InferenceOptions inferenceOptions(const RunOptions& run, const CLI::App& command);

// The variables of the given names, in order; an unknown name is an error
// of `option`.
std::vector<int> variablesNamed(const samplenet::Network& network, const std::vector<std::string>& names,
                                const std::string& option);
// The variables named by -q/--query, in order; all of them when none is named.
std::vector<int> queriedVariables(const samplenet::Network& network, const std::vector<std::string>& queries);

}  // namespace samplenet_cli
