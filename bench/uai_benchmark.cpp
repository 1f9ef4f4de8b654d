// Algorithms against published reference marginals on UAI instances: every
// NAME.uai of a folder with NAME.uai.evid and NAME.uai.MAR beside it
// (default: data/uai2014). Per instance and algorithm: the largest error of
// any posterior entry, the mean Hellinger distance over unobserved
// variables, the CPU time of the inference call, and for sampled answers the
// samples drawn, their effective sample size, the reported 95% bound on the
// largest error and whether it held; then a summary per algorithm.
//
//   uai_benchmark [FOLDER] [-a NAME]... [-n SAMPLES] [--memory-limit GIB]
//                 [--max-seconds S] [--target-error E] [--seed S] [--jobs N]
//                 [--only NAME]... [--within E] [--format table|markdown|json|csv]
//
// Runs go one at a time, so that the process's CPU time is the run's.
#include <CLI/CLI.hpp>

#include <iostream>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "cli/option_checks.h"
#include "cli/run_options.h"
#include "lib/benchmark/uai_benchmark.h"
#include "lib/inference/option_registry.h"
#include "lib/benchmark/uai_report_format.h"

namespace {

using namespace samplenet;

struct Settings {
    std::string folder = std::string(SAMPLENET_DATA) + "/uai2014";
    std::vector<std::string> algorithms{"auto", "exact", "epis", "ais", "lbp"};
    std::vector<std::string> only;
    std::string format = "table";
    double memoryLimitGiB = 4.0;
    double maxSeconds = 0.0;
    double targetError = 0.0;
    long seed = 1;
};

void printProgress(const UaiRun& run) {
    const std::string outcome = run.answered() ? fmt::format("largest error {:.3g}", run.accuracy.largestError)
                                               : "failed: " + run.failure;
    std::cerr << fmt::format("{} {}: {}, {:.3f} s CPU\n", run.instance, run.algorithm, outcome, run.cpuSeconds);
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Algorithms against the reference marginals of UAI instances"};
    Settings settings;
    UaiBenchmarkOptions options;
    InferenceOptions& inference = options.inference;
    app.add_option("folder", settings.folder, "Folder of NAME.uai, NAME.uai.evid and NAME.uai.MAR")
        ->capture_default_str();
    app.add_option("-a,--algorithm", settings.algorithms, "Algorithms to run; repeatable")
        ->check(samplenet_cli::checkAlgorithmName)
        ->capture_default_str();
    app.add_option("-n,--samples", inference.samples, "Samples drawn by the samplers (the most, with a target)")
        ->check(samplenet_cli::wholeNumberAtLeast(1))
        ->capture_default_str();
    samplenet_cli::addMemoryLimitOption(app, settings.memoryLimitGiB, "GiB of tables above which inference refuses");
    app.add_option("--max-seconds", settings.maxSeconds, "Time budget of a sampling run")
        ->check(samplenet_cli::numberAbove(0.0));
    app.add_option("--target-error", settings.targetError, "Sample until every entry is within this (95%)")
        ->check(samplenet_cli::numberAbove(0.0));
    app.add_option("--seed", settings.seed, "Seed of every sampling run")
        ->check(samplenet_cli::wholeNumberAtLeast(0))
        ->capture_default_str();
    app.add_option("--jobs", inference.jobs, "Threads of a sampling run")
        ->check(samplenet_cli::wholeNumberAtLeast(1))
        ->capture_default_str();
    app.add_option("--iterations", inference.lbpIterations, "Rounds of message passing of lbp")
        ->check(samplenet_cli::wholeNumberAtLeast(1))
        ->capture_default_str();
    app.add_option("--damping", inference.damping, "Damping of bpis's propagation, in [0, 1)")
        ->check(CLI::Range(0.0, 0.999))
        ->capture_default_str();
    app.add_option("--only", settings.only, "Run only this instance (NAME of NAME.uai); repeatable");
    app.add_option("--within", options.within, "Also count the runs within this largest error")
        ->check(samplenet_cli::numberAbove(0.0))
        ->capture_default_str();
    app.add_option("--format", settings.format, "table, markdown, json or csv")
        ->check(CLI::IsMember({"table", "markdown", "json", "csv"}))
        ->capture_default_str();
    CLI11_PARSE(app, argc, argv);

    options.algorithms.clear();
    for (const std::string& name : settings.algorithms) options.algorithms.push_back(*algorithmNamed(name));
    inference.memoryLimitBytes = samplenet::bytesOfGiB(settings.memoryLimitGiB);
    inference.seed = settings.seed;
    if (app.count("--max-seconds") > 0) inference.maxSeconds = settings.maxSeconds;
    if (app.count("--target-error") > 0) inference.targetError = settings.targetError;

    try {
        const std::vector<UaiInstance> instances = readUaiInstances(settings.folder, settings.only);
        const UaiBenchmarkReport report = runUaiBenchmark(instances, options, printProgress);
        if (settings.format == "markdown") {
            writeUaiReportMarkdown(report, std::cout);
        } else if (settings.format == "json") {
            writeUaiReportJson(report, std::cout);
        } else if (settings.format == "csv") {
            writeUaiReportCsv(report, std::cout);
        } else {
            writeUaiReportTable(report, std::cout);
        }
    } catch (const std::exception& error) {
        std::cerr << "uai_benchmark: " << error.what() << '\n';
        return 1;
    }
}
