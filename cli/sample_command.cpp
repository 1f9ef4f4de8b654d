#include "cli/sample_command.h"

#include <fmt/format.h>

#include <random>

#include "cli/interrupt_signal.h"
#include "cli/intervention_options.h"
#include "cli/option_checks.h"
#include "cli/posterior_output.h"
#include "cli/read_limit_options.h"
#include "lib/data/forward_sampler.h"
#include "lib/formats/formats.h"
#include "lib/output/output_file.h"

namespace samplenet_cli {

namespace {

// Rows go out as they are drawn, so memory does not grow with the count;
// the file is put in place only once every row is written.
void writeSamples(samplenet::OutputFile& out, const samplenet::Network& network, const samplenet::Evidence& evidence,
                  std::size_t count, std::uint64_t seed) {
    const bool weighted = !evidence.empty();
    std::string line;
    for (const samplenet::Variable& variable : network.variables)
        line += (line.empty() ? "" : ",") + csvField(variable.name);
    if (weighted) line += "," + csvField(samplenet::weightColumnName(network));
    out.write(line + '\n');
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
                               out.write(line);
                           });
    out.commit();
}

}  // namespace

CLI::App* addSampleCommand(CLI::App& app, SampleArguments& arguments) {
    CLI::App* command = app.add_subcommand("sample", "Write forward samples of the network as CSV");
    command->footer("One row per sample; with evidence, likelihood weighted rows with a weight column.");
    command->add_option("network", arguments.networkPath, "Network file")->required();
    command->add_option("-n,--samples", arguments.count, "Rows to draw")->required()->check(wholeNumberAtLeast(0));
    addEvidenceOptions(*command, arguments.evidence);
    addInterventionOption(*command, arguments.interventions);
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
    const samplenet::Network read = samplenet::readNetwork(arguments.networkPath, arguments.readLimits);
    const samplenet::Evidence evidence = readEvidence(read, arguments.evidence);
    const samplenet::Network network =
        samplenet::intervene(read, readInterventions(read, evidence, arguments.interventions));
    const std::uint64_t seed =
        command.count("--seed") > 0 ? static_cast<std::uint64_t>(arguments.seed) : std::random_device{}();
    const auto count = static_cast<std::size_t>(arguments.count);
    samplenet::OutputFile out(arguments.output);  // standard output when empty
    writeSamples(out, network, evidence, count, seed);
}

}  // namespace samplenet_cli
