#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "cli/inference_arguments.h"
#include "cli/query_options.h"

namespace samplenet_cli {

struct InferArguments {
    InferenceArguments inference;
    QueryArguments query;
    std::string format = "table";
};

CLI::App* addInferCommand(CLI::App& app, InferArguments& arguments);

// Prints the posteriors on stdout; throws on any failure before printing.
void runInfer(InferArguments arguments);

}  // namespace samplenet_cli
