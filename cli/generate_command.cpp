#include "cli/generate_command.h"

#include "cli/network_output.h"
#include "cli/option_checks.h"
#include "cli/read_limit_options.h"
#include "lib/formats/formats.h"

namespace samplenet_cli {

CLI::App* addGenerateCommand(CLI::App& app, GenerateArguments& arguments) {
    CLI::App* command = app.add_subcommand("generate", "Write a random network");
    command->footer("Node i takes its parents among the few nodes created before it.");
    command->add_option("output", arguments.output, "File to write (.bif, .xmlbif/.xml, .net, .uai, optionally .gz)")
        ->required();
    samplenet::RandomNetworkOptions& shape = arguments.shape;
    command->add_option("--nodes", shape.nodes, "Number of nodes")->check(wholeNumberAtLeast(1))->capture_default_str();
    command->add_option("--states", arguments.states, "States per node: MIN,MAX, or one count for all (default 2,4)")
        ->delimiter(',')
        ->expected(1, 2)
        ->check(wholeNumberAtLeast(1));
    command->add_option("--max-parents", shape.maxParents, "Most parents of a node")
        ->check(wholeNumberAtLeast(0))
        ->capture_default_str();
    command->add_option("--locality", shape.locality, "Parents are drawn from this many nodes created just before")
        ->check(wholeNumberAtLeast(1))
        ->capture_default_str();
    command->add_option("--zero-share", shape.zeroShare, "Share of table entries set to exactly 0, below 1")
        ->capture_default_str();
    command->add_option("--seed", shape.seed, "The same seed gives the same network")->capture_default_str();
    addReadLimitOptions(command, arguments.readLimits);
    return command;
}

void runGenerate(GenerateArguments arguments) {
    if (!arguments.states.empty()) {
        arguments.shape.minStates = arguments.states.front();
        arguments.shape.maxStates = arguments.states.back();
    }
    checkOutputPath(arguments.output);
    samplenet::writeNetwork(samplenet::randomNetwork(arguments.shape, arguments.readLimits), arguments.output);
}

}  // namespace samplenet_cli
