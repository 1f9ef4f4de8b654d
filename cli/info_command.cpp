#include "cli/info_command.h"

#include <fmt/format.h>

#include <iostream>

#include "cli/read_limit_options.h"
#include "cli/run_options.h"
#include "lib/exact/junction_tree.h"
#include "lib/formats/formats.h"
#include "lib/inference/network_shape.h"

namespace samplenet_cli {

CLI::App* addInfoCommand(CLI::App& app, InfoArguments& arguments) {
    CLI::App* command = app.add_subcommand("info", "Size and shape of a network");
    command->add_option("network", arguments.networkPath, "Network file")->required();
    addReadLimitOptions(command, arguments.readLimits);
    addMemoryLimitOption(*command, arguments.memoryLimitGiB,
                         "GiB of clique tables beyond which the junction tree is not measured further, "
                         "as exact inference refuses it");
    return command;
}

void runInfo(const InfoArguments& arguments) {
    const samplenet::Network network = samplenet::readNetwork(arguments.networkPath, arguments.readLimits);
    const samplenet::NetworkShape shape = samplenet::describeShape(network);
    std::string text = fmt::format("network: {}\n", network.name);
    text += fmt::format("nodes: {}\narcs: {}\n", shape.variables, shape.arcs);
    text += fmt::format("states: min {}, max {}, total {}\n", shape.minStates, shape.maxStates, shape.totalStates);
    text += fmt::format("largest table: {} entries ({})\n", shape.largestTable, shape.largestTableVariable);
    text += fmt::format("max in-degree: {}\n", shape.maxInDegree);
    text += fmt::format("depth: {} nodes on the longest directed path\n", shape.depth);
    text += fmt::format("polytree: {}\n", shape.polytree ? "yes" : "no");
    // Triangulation only: the clique tables are measured, not allocated.
    const samplenet::CliqueStatistics cliques =
        samplenet::estimateCliques(network, {.memoryLimitBytes = memoryLimitBytes(arguments.memoryLimitGiB)});
    if (cliques.exceedsLimit)
        text += fmt::format("junction tree: more than the memory limit of {} (stopped after {} of {} variables)\n",
                            samplenet::describeBytes(cliques.limitBytes), cliques.variablesEliminated, network.size());
    else
        text += fmt::format(
            "junction tree: {} cliques, largest {} nodes ({} entries), {} entries in all ({:.1f} MiB){}\n"
            "elimination order: {}, the cheapest in table entries of those tried\n",
            cliques.cliqueCount, cliques.largestCliqueVariables, cliques.largestCliqueEntries, cliques.totalEntries,
            static_cast<double>(cliques.estimatedBytes) / (1 << 20),
            cliques.estimatedBytes > cliques.limitBytes ? ", above the memory limit" : "", cliques.order);
    std::cout << text;
}

}  // namespace samplenet_cli
