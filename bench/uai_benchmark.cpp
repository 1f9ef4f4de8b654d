// Algorithms against published reference marginals on UAI instances: every
// NAME.uai of a folder with NAME.uai.evid and NAME.uai.MAR beside it
// (default: data/uai2014). Per instance and algorithm: the largest error of
// any posterior entry, the mean Hellinger distance over unobserved
// variables, the CPU time of the inference call, and for sampled answers the
// samples drawn, their effective sample size, the reported 95% bound on the
// largest error and whether it held; then a summary per algorithm.
//
//   uai_benchmark [FOLDER] [-a NAME]... [--only NAME]... [--within E]
//                 [--format table|markdown|json|csv] [OPTIONS]
//
// OPTIONS are the tuning options of `samplenet infer` (-n, --memory-limit,
// --max-seconds, --target-error, --seed, --jobs, ...), given to every run;
// the seed is 1 unless given.
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
    samplenet_cli::GivenOptions given;
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
    app.add_option("--only", settings.only, "Run only this instance (NAME of NAME.uai); repeatable");
    app.add_option("--within", options.within, "Also count the runs within this largest error")
        ->check(samplenet_cli::numberAbove(0.0))
        ->capture_default_str();
    app.add_option("--format", settings.format, "table, markdown, json or csv")
        ->check(CLI::IsMember({"table", "markdown", "json", "csv"}))
        ->capture_default_str();
    samplenet_cli::addTuningOptions(app, settings.given);
    CLI11_PARSE(app, argc, argv);

    options.algorithms.clear();
    for (const std::string& name : settings.algorithms) options.algorithms.push_back(*algorithmNamed(name));

    try {
        samplenet_cli::setGivenOptions(inference, settings.given, std::nullopt);
        if (!inference.seed) inference.seed = 1;
        checkOptions(inference);
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
