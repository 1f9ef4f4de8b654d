#pragma once

#include <CLI/CLI.hpp>

#include "cli/inference_arguments.h"

namespace samplenet_cli {

struct ExploreArguments {
    InferenceArguments inference;
    int port = 0;  // 0: a free port
};

CLI::App* addExploreCommand(CLI::App& app, ExploreArguments& arguments);

// Reads the network, starts the explore page's server on 127.0.0.1, prints
// its address (with any -e evidence and -q nodes in it) and serves until the
// process is stopped.
void runExplore(ExploreArguments arguments);

}  // namespace samplenet_cli
