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
    // Given, the report goes to this file, in the format its extension names.
    std::string outputPath;
};

CLI::App* addInferCommand(CLI::App& app, InferArguments& arguments);

// Prints the posteriors on stdout, or writes them to -o's file; throws on
// any failure before writing.
void runInfer(InferArguments arguments, const CLI::App& command);

// `infer --mpe` or `--joint`: the one query's answer instead of the
// posteriors, written the same way.
void runQuery(const InferArguments& arguments, const CLI::App& command);

}  // namespace samplenet_cli
