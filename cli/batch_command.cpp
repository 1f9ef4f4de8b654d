#include "cli/batch_command.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iostream>
#include <optional>
#include <random>
#include <stdexcept>
#include <thread>

#include "cli/case_file.h"
#include "cli/case_progress.h"
#include "cli/intervention_options.h"
#include "cli/option_checks.h"
#include "cli/posterior_output.h"
#include "cli/process_pool.h"
#include "cli/read_limit_options.h"
#include "lib/batch/batch_case.h"
#include "lib/formats/formats.h"
#include "lib/model/errors.h"
#include "lib/output/output_file.h"

namespace samplenet_cli {

namespace {

// Cases read ahead of the oldest one not yet written, per worker: enough to
// keep every worker busy while one case runs long, few enough that memory
// does not grow with the file.
constexpr std::size_t kCasesInFlightPerJob = 16;

// The cells of a row, a value the run did not give (NaN) as an empty one.
std::string cells(const std::vector<double>& values) {
    std::string text;
    for (const double value : values) text += std::isnan(value) ? std::string(",") : fmt::format(",{}", value);
    return text;
}

// A case's result as the worker hands it back: '+' and its CSV line, or 'I'
// (inference failed) or 'E' (bad row) and the reason.
std::string encodedCase(const samplenet::CaseOutcome& outcome, std::size_t row, const std::vector<int>& queried,
                        samplenet::Algorithm algorithm, bool standardErrors) {
    if (!outcome.result) return (outcome.inferenceFailed ? "I" : "E") + outcome.error;
    std::string line = fmt::format("+{}", row);
    for (int v : queried) line += fmt::format(",{}", fmt::join(outcome.result->posteriors[v], ","));
    if (standardErrors) line += cells(samplenet::caseStandardErrors(*outcome.result, queried));
    return line + cells(samplenet::caseSummary(*outcome.result, algorithm)) + "\n";
}

std::string header(const samplenet::Network& network, const std::vector<int>& queried,
                   samplenet::Algorithm algorithm, bool standardErrors) {
    std::string line = "row";
    for (int v : queried)
        for (const std::string& state : network.variables[v].states)
            line += "," + csvField(network.variables[v].name + "=" + state);
    if (standardErrors)
        for (const std::string& column : samplenet::caseStandardErrorColumns(network, queried))
            line += "," + csvField(column);
    for (const std::string& column : samplenet::caseSummaryColumns(algorithm)) line += "," + column;
    return line + "\n";
}

// A task for a worker: the case's index, then each cell as its length and
// its bytes.
std::string encodedTask(std::size_t index, const std::vector<std::string>& cells) {
    std::string task(reinterpret_cast<const char*>(&index), sizeof index);
    for (const std::string& cell : cells) {
        const std::size_t length = cell.size();
        task.append(reinterpret_cast<const char*>(&length), sizeof length);
        task += cell;
    }
    return task;
}

// The case's index; its cells into `cells`.
std::size_t decodedTask(std::string_view task, std::vector<std::string>& cells) {
    const auto take = [&task] {
        std::size_t value = 0;
        std::memcpy(&value, task.data(), sizeof value);
        task.remove_prefix(sizeof value);
        return value;
    };
    const std::size_t index = take();
    cells.clear();
    while (!task.empty()) {
        const std::size_t length = take();
        cells.emplace_back(task.substr(0, length));
        task.remove_prefix(length);
    }
    return index;
}

std::string checkOnError(const std::string& value) {
    return value == "skip" || value == "fail" ? "" : "unknown --on-error \"" + value + "\"; use skip or fail";
}

}  // namespace

CLI::App* addBatchCommand(CLI::App& app, BatchArguments& arguments) {
    CLI::App* command = app.add_subcommand("batch", "Posteriors for each row of a CSV of evidence cases");
    command
        ->add_option("network", arguments.networkPath, "Network file (.bif, .xmlbif/.xml, .net, .uai, optionally .gz)")
        ->required();
    command->add_option("cases", arguments.casesPath,
                        "CSV file: a header of node names, one case per row; an empty cell is unobserved, "
                        "a cell holds a state or \"[l1,l2,...]\"")
        ->required();
    // --jobs spreads cases over processes here; each case samples on one thread.
    addRunOptions(*command, arguments.run, {"jobs"});
    command->add_option("-q,--query", arguments.queries, "Output only this node; repeatable")->allow_extra_args(false);
    addInterventionOption(*command, arguments.interventions);
    command->add_option("-j,--jobs", arguments.jobs, "Processes to run cases on (default: one per core)")
        ->check(wholeNumberAtLeast(1));
    command->add_option("--on-error", arguments.onError, "skip: report a bad case and leave it out; fail: stop")
        ->check(checkOnError)
        ->capture_default_str();
    command->add_flag("--standard-errors", arguments.standardErrors,
                      "After the posteriors, the standard error of each (a standard_error:NODE=STATE column "
                      "per NODE=STATE column; samplers only)");
    command->add_option("-o,--output", arguments.outputPath,
                        "CSV file to write (default: standard output); it appears only once every case is written");
    addReadLimitOptions(command, arguments.readLimits);
    return command;
}

void runBatch(BatchArguments arguments) {
    samplenet::InferenceOptions options = inferenceOptions(arguments.run);
    if (arguments.standardErrors)
        if (const std::string why = samplenet::whyNoCaseStandardErrors(options.algorithm); !why.empty())
            throw std::invalid_argument("--standard-errors: " + why);
    // Case seeds derive from the run's seed, so that without --seed cases
    // still differ from each other.
    const long runSeed = options.seed ? *options.seed : static_cast<long>(std::random_device{}() & 0x7fffffff);
    const StopSignals signals;
    const samplenet::Network read = samplenet::readNetwork(arguments.networkPath, arguments.readLimits);
    const samplenet::Interventions interventions = readInterventions(read, {}, arguments.interventions);
    const samplenet::Network network = samplenet::intervene(read, interventions);
    const std::vector<int> queried = queriedVariables(network, arguments.queries);
    // Only the queried nodes' posteriors are computed (as in Python's batches).
    if (queried.size() < static_cast<std::size_t>(network.size())) options.queried = queried;
    CaseReader cases(arguments.casesPath);
    std::vector<int> columns;
    try {
        columns = samplenet::caseColumns(network, cases.header());
        for (int v : columns)
            if (interventions.count(v))
                throw samplenet::EvidenceError("column \"" + network.variables[v].name +
                                               "\" is set by --do: a node cannot be both observed and set");
    } catch (const samplenet::EvidenceError& error) {
        throw samplenet::EvidenceError(arguments.casesPath + ":1: " + error.what());
    }
    const int jobs =
        arguments.jobs > 0 ? arguments.jobs : static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
    samplenet::OutputFile output(arguments.outputPath);
    output.write(header(network, queried, options.algorithm, arguments.standardErrors));
    CaseProgress progress(arguments.casesPath);

    std::size_t given = 0, done = 0;
    std::vector<std::string> row;
    const auto next = [&]() -> std::optional<std::string> {
        if (!cases.next(row)) return std::nullopt;
        return encodedTask(given++, row);
    };
    const auto work = [&](std::string_view task) {
        const std::size_t i = decodedTask(task, row);
        return encodedCase(samplenet::runCase(network, columns, row, options, runSeed, i), i + 1, queried,
                           options.algorithm, arguments.standardErrors);
    };
    const auto take = [&](std::string&& result) {
        ++done;
        progress.update(done);
        if (result.front() == '+') return output.write(std::string_view(result).substr(1));
        const std::string where = fmt::format("{}: row {}: ", arguments.casesPath, done);
        if (arguments.onError == "fail") {
            if (result.front() == 'I') throw samplenet::InferenceError(where + result.substr(1), {});
            throw samplenet::EvidenceError(where + result.substr(1));
        }
        std::cerr << "samplenet: warning: " << where << result.substr(1) << " (skipped)\n";
    };
    try {
        runInProcesses(jobs, kCasesInFlightPerJob * static_cast<std::size_t>(jobs), next, work, take, signals);
    } catch (const Stopped& stopped) {
        output.abandon();
        progress.finish();
        signals.endProcess(stopped.signal);
    }
    progress.finish();
    output.commit();
}

}  // namespace samplenet_cli
