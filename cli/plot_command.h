#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "cli/inference_arguments.h"

namespace samplenet_cli {

struct PlotArguments {
    InferenceArguments inference;
    std::string outputPath;
};

CLI::App* addPlotCommand(CLI::App& app, PlotArguments& arguments);

// Runs inference and draws the network with its posteriors into the output
// file; throws on any failure, before anything is written.
void runPlot(PlotArguments arguments);

}  // namespace samplenet_cli
