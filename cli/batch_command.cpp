#include "cli/batch_command.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iostream>
#include <random>
#include <stdexcept>
#include <thread>

#include "cli/case_file.h"
#include "cli/option_checks.h"
#include "cli/posterior_output.h"
#include "cli/process_pool.h"
#include "lib/batch/batch_case.h"
#include "lib/formats/formats.h"
#include "lib/model/errors.h"

namespace samplenet_cli {

namespace {

// A case's result as the worker hands it back: '+' and its CSV line, or 'I'
// (inference failed) or 'E' (bad row) and the reason.
std::string encodedCase(const samplenet::CaseOutcome& outcome, std::size_t row, const std::vector<int>& queried,
                        samplenet::Algorithm algorithm) {
    if (!outcome.result) return (outcome.inferenceFailed ? "I" : "E") + outcome.error;
    std::string line = fmt::format("+{}", row);
    for (int v : queried) line += fmt::format(",{}", fmt::join(outcome.result->posteriors[v], ","));
    // A value the run did not give is an empty cell.
    for (const double value : samplenet::caseSummary(*outcome.result, algorithm))
        line += std::isnan(value) ? std::string(",") : fmt::format(",{}", value);
    return line + "\n";
}

std::string header(const samplenet::Network& network, const std::vector<int>& queried,
                   samplenet::Algorithm algorithm) {
    std::string line = "row";
    for (int v : queried)
        for (const std::string& state : network.variables[v].states)
            line += "," + csvField(network.variables[v].name + "=" + state);
    for (const std::string& column : samplenet::caseSummaryColumns(algorithm)) line += "," + column;
    return line + "\n";
}

std::string checkOnError(const std::string& value) {
    return value == "skip" || value == "fail" ? "" : "unknown --on-error \"" + value + "\"; use skip or fail";
}

}  // namespace

CLI::App* addBatchCommand(CLI::App& app, BatchArguments& arguments) {
    CLI::App* command = app.add_subcommand("batch", "Posteriors for every row of a CSV file of evidence cases");
    command
        ->add_option("network", arguments.networkPath, "Network file (.bif, .xmlbif/.xml, .net, .uai, optionally .gz)")
        ->required();
    command->add_option("cases", arguments.casesPath,
                        "CSV file: a header of node names, one case per row; an empty cell is unobserved, "
                        "a cell holds a state or \"[l1,l2,...]\"")
        ->required();
    addRunOptions(*command, arguments.run);
    command->add_option("-q,--query", arguments.queries, "Output only this node; repeatable")->allow_extra_args(false);
    command->add_option("-j,--jobs", arguments.jobs, "Processes to run cases on (default: one per core)")
        ->check(wholeNumberAtLeast(1));
    command->add_option("--on-error", arguments.onError, "skip: report a bad case and leave it out; fail: stop")
        ->check(checkOnError)
        ->capture_default_str();
    command->add_option("-o,--output", arguments.outputPath, "CSV file to write (default: standard output)");
    return command;
}

void runBatch(BatchArguments arguments, const CLI::App& command) {
    samplenet::InferenceOptions options = inferenceOptions(arguments.run, command);
    // Case seeds derive from the run's seed, so that without --seed cases
    // still differ from each other.
    const long runSeed = options.seed ? *options.seed : static_cast<long>(std::random_device{}() & 0x7fffffff);
    const samplenet::Network network = samplenet::readNetwork(arguments.networkPath);
    const std::vector<int> queried = queriedVariables(network, arguments.queries);
    const CaseFile cases = readCaseFile(arguments.casesPath);
    std::vector<int> columns;
    try {
        columns = samplenet::caseColumns(network, cases.header);
    } catch (const samplenet::EvidenceError& error) {
        throw samplenet::EvidenceError(arguments.casesPath + ":1: " + error.what());
    }
    const int jobs =
        arguments.jobs > 0 ? arguments.jobs : static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));

    const std::vector<std::string> results = runInProcesses(cases.rows.size(), jobs, [&](std::size_t i) {
        return encodedCase(samplenet::runCase(network, columns, cases.rows[i], options, runSeed, i), i + 1, queried,
                           options.algorithm);
    });

    std::string text = header(network, queried, options.algorithm);
    for (std::size_t i = 0; i < results.size(); ++i) {
        const std::string& result = results[i];
        if (result.front() == '+') {
            text += result.substr(1);
            continue;
        }
        const std::string where = fmt::format("{}: row {}: ", arguments.casesPath, i + 1);
        if (arguments.onError == "fail") {
            if (result.front() == 'I') throw samplenet::InferenceError(where + result.substr(1), {});
            throw samplenet::EvidenceError(where + result.substr(1));
        }
        std::cerr << "samplenet: warning: " << where << result.substr(1) << " (skipped)\n";
    }
    if (arguments.outputPath.empty()) {
        std::cout << text;
        return;
    }
    std::ofstream out(arguments.outputPath, std::ios::binary);
    if (!(out << text)) throw std::runtime_error(arguments.outputPath + ": cannot write the output file");
}

}  // namespace samplenet_cli
