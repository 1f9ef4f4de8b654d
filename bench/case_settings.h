#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

#include "lib/formats/formats.h"
#include "lib/model/network.h"

// What the benchmark programs that draw evidence cases on bundled networks
// take from their command line, and the networks they read.
struct CaseSettings {
    std::vector<std::string> networks = {"alarm", "hailfinder", "hepar2", "win95pts", "andes"};
    int cases = 20;
    int samples = 100000;
    unsigned long seed = 1;
};

inline void addCaseOptions(CLI::App& app, CaseSettings& settings) {
    app.add_option("--networks", settings.networks);
    app.add_option("--cases", settings.cases);
    app.add_option("--samples", settings.samples);
    app.add_option("--seed", settings.seed);
}

inline samplenet::Network readBundledNetwork(const std::string& name) {
    return samplenet::readNetwork(std::string(SAMPLENET_DATA) + "/networks/" + name + ".bif.gz");
}
