#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "cli/inference_arguments.h"

namespace samplenet_cli {

struct ImpactArguments {
    InferenceArguments inference;
    std::string target;
    std::vector<std::string> candidates;  // empty: every unobserved node
    int top = 0;                          // 0: every candidate
    std::string format = "table";
};

CLI::App* addImpactCommand(CLI::App& app, ImpactArguments& arguments);

// Prints the candidates ranked by what observing each would tell about the
// target; throws on any failure before printing.
void runImpact(ImpactArguments arguments);

}  // namespace samplenet_cli
