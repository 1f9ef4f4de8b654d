#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "cli/run_options.h"
#include "lib/formats/read_limits.h"

namespace samplenet_cli {

struct BatchArguments {
    std::string networkPath;
    std::string casesPath;
    RunOptions run;
    std::vector<std::string> queries;
    std::vector<std::string> interventions;  // --do NODE=STATE, for every case
    int jobs = 0;  // 0: one per core
    std::string onError = "skip";
    bool standardErrors = false;  // a standard_error:NODE=STATE column per posterior column
    std::string outputPath;  // empty: standard output
    samplenet::ReadLimits readLimits;
};

CLI::App* addBatchCommand(CLI::App& app, BatchArguments& arguments);

// Runs every case of the case file and writes one CSV row per case, in
// order, as the cases finish: memory stays bounded whatever the number of
// cases. A case that fails is reported on stderr with its row number and
// left out, or, with --on-error fail, stops the run. An output file appears
// only when every case is written; SIGINT or SIGTERM stop the workers and
// end the process by that signal, with no output file.
void runBatch(BatchArguments arguments);

}  // namespace samplenet_cli
