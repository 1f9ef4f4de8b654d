#include "cli/sample_command.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <random>

#include "cli/interrupt_signal.h"
#include "cli/option_checks.h"
#include "cli/posterior_output.h"
#include "cli/read_limit_options.h"
#include "lib/data/forward_sampler.h"
#include "lib/formats/formats.h"
#include "lib/model/errors.h"

namespace samplenet_cli {

namespace {

// The one place the output file is opened, checked, so that another way of
// writing it can take its place.
std::ofstream openOutput(const std::string& path) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!file) throw samplenet::FileError("cannot write \"" + path + "\": " + std::strerror(errno), path, errno);
    return file;
}

void checkWritten(std::ostream& out, const std::string& name) {
    out.flush();
    if (!out) throw samplenet::FileError(name + ": cannot write the samples: " + std::strerror(errno), name, errno);
}

void writeSamples(std::ostream& out, const std::string& name, const samplenet::Network& network,
                  const samplenet::Evidence& evidence, std::size_t count, std::uint64_t seed) {
    const bool weighted = !evidence.empty();
    std::string line;
    for (const samplenet::Variable& variable : network.variables)
        line += (line.empty() ? "" : ",") + csvField(variable.name);
    if (weighted) line += "," + csvField(samplenet::weightColumnName(network));
    out << line << '\n';
    const InterruptibleRun interruptible;
    samplenet::drawSamples(network, evidence, count, seed, interruptible.cancellation(),
                           [&](const std::vector<int>& states, double weight) {
                               line.clear();
                               for (int v = 0; v < network.size(); ++v) {
                                   if (v > 0) line += ',';
                                   line += csvField(network.variables[v].states[states[v]]);
                               }
                               if (weighted) line += fmt::format(",{}", weight);
                               line += '\n';
                               out << line;
                               if (!out) checkWritten(out, name);
                           });
    checkWritten(out, name);
}

}  // namespace

CLI::App* addSampleCommand(CLI::App& app, SampleArguments& arguments) {
    CLI::App* command = app.add_subcommand(
        "sample", "Write forward samples of the network as CSV, one row per sample; with evidence, likelihood "
                  "weighted rows with a weight column");
    command->add_option("network", arguments.networkPath, "Network file")->required();
    command->add_option("-n,--samples", arguments.count, "Rows to draw")->required()->check(wholeNumberAtLeast(0));
    addEvidenceOptions(*command, arguments.evidence);
    command->add_option("--seed", arguments.seed, "The same seed gives the same rows; without one, a random seed")
        ->check(wholeNumberAtLeast(0));
    command->add_option("-o,--output", arguments.output, "CSV file to write (default: standard output)")
        ->check([](const std::string& path) {
            return path.ends_with(".csv") ? ""
                                          : "samples are written as CSV (.csv); for Parquet, write a DataFrame "
                                            "from Python's Network.sample";
        });
    addReadLimitOptions(command, arguments.readLimits);
    return command;
}

void runSample(const SampleArguments& arguments, const CLI::App& command) {
    const samplenet::Network network = samplenet::readNetwork(arguments.networkPath, arguments.readLimits);
    const samplenet::Evidence evidence = readEvidence(network, arguments.evidence);
    const std::uint64_t seed =
        command.count("--seed") > 0 ? static_cast<std::uint64_t>(arguments.seed) : std::random_device{}();
    const auto count = static_cast<std::size_t>(arguments.count);
    if (arguments.output.empty()) {
        writeSamples(std::cout, "standard output", network, evidence, count, seed);
        return;
    }
    std::ofstream file = openOutput(arguments.output);
    writeSamples(file, arguments.output, network, evidence, count, seed);
}

}  // namespace samplenet_cli
