#include "cli/bench_command.h"

#include <iostream>

#include "cli/option_checks.h"
#include "cli/read_limit_options.h"

#include "lib/benchmark/report_format.h"
#include "lib/exact/junction_tree.h"
#include "lib/formats/formats.h"

namespace samplenet_cli {

CLI::App* addBenchCommand(CLI::App& app, BenchArguments& arguments) {
    CLI::App* command = app.add_subcommand("bench", "Accuracy and speed against exact posteriors");
    command->footer("The evidence cases are generated from a fixed seed, so runs compare.");
    samplenet::CaseOptions& cases = arguments.cases;
    samplenet::BenchmarkOptions& benchmark = arguments.benchmark;
    command->add_option("network", arguments.networkPath, "Network file")->required();
    command->add_option("-a,--algorithm", arguments.algorithms, "Algorithms to run: epis, ais, lbp; repeatable")
        ->check(checkAlgorithmName)
        ->capture_default_str();
    command->add_option("-n,--samples", benchmark.sampleCounts, "Sample counts to run the samplers at; repeatable")
        ->check(wholeNumberAtLeast(1))
        ->capture_default_str();
    command->add_option("--likely", cases.likelyCases, "Evidence cases drawn by forward sampling")
        ->check(wholeNumberAtLeast(0))
        ->capture_default_str();
    command->add_option("--unlikely", cases.unlikelyCases, "Evidence cases of very small probability")
        ->check(wholeNumberAtLeast(0))
        ->capture_default_str();
    command->add_option("--observed", cases.observedFraction, "Share of the nodes observed in each case")
        ->check(CLI::Range(0.0, 1.0))
        ->capture_default_str();
    command->add_option("--unlikely-below", cases.unlikelyBelow, "Probability bound of an unlikely case")
        ->check(CLI::Range(0.0, 1.0))
        ->capture_default_str();
    command->add_option("--seed", cases.seed, "Seed of the evidence cases and of the sampling runs")
        ->capture_default_str();
    command->add_option("--propagation-length", benchmark.inference.epis.propagationLength,
                        "EPIS-BN propagation rounds (capped by the network's depth)")
        ->check(wholeNumberAtLeast(0))
        ->capture_default_str();
    command->add_option("--iterations", benchmark.inference.lbpIterations, "Rounds of message passing of lbp")
        ->check(wholeNumberAtLeast(1))
        ->capture_default_str();
    command
        ->add_option("--target-error", arguments.targetError,
                     "Run the samplers to this target error (-n is then the most they draw) and report how often "
                     "the true error met it")
        ->check(samplenet_cli::numberAbove(0.0));
    command->add_option("--format", arguments.format, "table, json or csv")
        ->check(CLI::IsMember({"table", "json", "csv"}))
        ->capture_default_str();
    addReadLimitOptions(command, arguments.readLimits);
    return command;
}

void runBench(BenchArguments arguments) {
    const samplenet::Network network = samplenet::readNetwork(arguments.networkPath, arguments.readLimits);
    const samplenet::JunctionTree exact(network);
    samplenet::BenchmarkOptions& benchmark = arguments.benchmark;
    benchmark.algorithms.clear();
    for (const std::string& name : arguments.algorithms) benchmark.algorithms.push_back(*samplenet::algorithmNamed(name));
    benchmark.seed = static_cast<long>(arguments.cases.seed);
    if (arguments.targetError > 0.0) benchmark.inference.targetError = arguments.targetError;

    const auto cases = samplenet::generateCases(network, exact, arguments.cases);
    const samplenet::BenchmarkReport report =
        samplenet::runBenchmark(arguments.networkPath, network, exact, cases, benchmark);
    if (arguments.format == "json") {
        samplenet::writeReportJson(report, std::cout);
    } else if (arguments.format == "csv") {
        samplenet::writeReportCsv(report, std::cout);
    } else {
        samplenet::writeReportTable(report, std::cout);
    }
}

}  // namespace samplenet_cli
