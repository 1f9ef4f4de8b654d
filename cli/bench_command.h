#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "lib/benchmark/accuracy_benchmark.h"
#include "lib/formats/read_limits.h"

namespace samplenet_cli {

struct BenchArguments {
    std::string networkPath;
    std::vector<std::string> algorithms{"epis", "ais", "lbp"};
    samplenet::BenchmarkOptions benchmark;
    samplenet::CaseOptions cases;
    std::string format = "table";
    double targetError = 0.0;  // 0: none
    samplenet::ReadLimits readLimits;
};

CLI::App* addBenchCommand(CLI::App& app, BenchArguments& arguments);

// Runs the accuracy and speed benchmark and prints its report on stdout.
void runBench(BenchArguments arguments);

}  // namespace samplenet_cli
