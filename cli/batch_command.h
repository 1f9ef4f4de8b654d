#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "cli/run_options.h"

namespace samplenet_cli {

struct BatchArguments {
    std::string networkPath;
    std::string casesPath;
    RunOptions run;
    std::vector<std::string> queries;
    int jobs = 0;  // 0: one per core
    std::string onError = "skip";
    std::string outputPath;  // empty: standard output
};

CLI::App* addBatchCommand(CLI::App& app, BatchArguments& arguments);

// Runs every case of the case file and writes one CSV row per case. A case
// that fails is reported on stderr with its row number and left out, or,
// with --on-error fail, fails the whole run before anything is written.
void runBatch(BatchArguments arguments, const CLI::App& command);

}  // namespace samplenet_cli
