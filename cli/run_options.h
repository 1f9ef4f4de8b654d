#pragma once

#include <CLI/CLI.hpp>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lib/inference/inference.h"

namespace samplenet_cli {

// Option name -> text as given, for the registered options.
using GivenOptions = std::map<std::string, std::string, std::less<>>;

// The options that choose and tune an inference run, shared by the commands
// that run inference: -a and every option of the library's registry.
struct RunOptions {
    std::string algorithm = "epis";
    GivenOptions given;
};

// Adds every registered option but those named in `without`, which the
// command uses otherwise, each under its concern's heading.
void addTuningOptions(CLI::App& command, GivenOptions& given, const std::vector<std::string_view>& without = {});
// Adds -a (defaulting to `run.algorithm`) and the tuning options.
void addRunOptions(CLI::App& command, RunOptions& run, const std::vector<std::string_view>& without = {});

// --memory-limit GIB, as info takes it (samplenet::bytesOfGiB converts it).
void addMemoryLimitOption(CLI::App& command, double& gib, const std::string& description);

// Sets the given tuning options on `options`; `algorithm`, when given, is
// the one run, and an option it does not read gets a note on stderr.
void setGivenOptions(samplenet::InferenceOptions& options, const GivenOptions& given,
                     std::optional<samplenet::Algorithm> algorithm);
// The library's options from what was parsed. An option the chosen
// algorithm does not read gets a note on stderr.
samplenet::InferenceOptions inferenceOptions(const RunOptions& run);

// The variables of the given names, in order; an unknown name is an error
// of `option`.
std::vector<int> variablesNamed(const samplenet::Network& network, const std::vector<std::string>& names,
                                const std::string& option);
// The variables named by -q/--query, in order; all of them when none is named.
std::vector<int> queriedVariables(const samplenet::Network& network, const std::vector<std::string>& queries);

}  // namespace samplenet_cli
