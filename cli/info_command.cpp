#include "cli/info_command.h"

#include <fmt/format.h>

#include <iostream>

#include "cli/node_description.h"
#include "cli/read_limit_options.h"
#include "cli/run_options.h"
#include "lib/inference/option_registry.h"
#include "lib/exact/exact_cost.h"
#include "lib/exact/exact_query.h"
#include "lib/exact/junction_tree.h"
#include "lib/formats/formats.h"
#include "lib/inference/network_shape.h"
#include "lib/util/byte_size.h"

namespace samplenet_cli {

CLI::App* addInfoCommand(CLI::App& app, InfoArguments& arguments) {
    CLI::App* command = app.add_subcommand("info", "Size and shape of a network");
    command->add_option("network", arguments.networkPath, "Network file")->required();
    addReadLimitOptions(command, arguments.readLimits);
    addMemoryLimitOption(*command, arguments.memoryLimitGiB,
                         "GiB of clique tables beyond which the junction tree is not measured further, "
                         "as exact inference refuses it");
    addEvidenceOptions(*command, arguments.evidence);
    command
        ->add_option("-q,--query", arguments.queries,
                     "With -e or alone: measure the junction tree exact inference builds for these nodes; repeatable")
        ->allow_extra_args(false);
    command
        ->add_option("--node", arguments.nodes,
                     "Describe this node instead of the network: states, parents, children, Markov blanket and "
                     "table; repeatable")
        ->allow_extra_args(false)
        ->excludes("-q")
        ->excludes("-e")
        ->excludes("--evidence-file");
    return command;
}

void runInfo(const InfoArguments& arguments) {
    const samplenet::Network network = samplenet::readNetwork(arguments.networkPath, arguments.readLimits);
    if (!arguments.nodes.empty()) {
        std::string text;
        for (int v : variablesNamed(network, arguments.nodes, "--node")) text += (text.empty() ? "" : "\n") + describeNode(network, v);
        std::cout << text;
        return;
    }
    const samplenet::NetworkShape shape = samplenet::describeShape(network);
    std::string text = fmt::format("network: {}\n", network.name);
    text += fmt::format("nodes: {}\narcs: {}\n", shape.variables, shape.arcs);
    text += fmt::format("states: min {}, max {}, total {}\n", shape.minStates, shape.maxStates, shape.totalStates);
    text += fmt::format("largest table: {} entries ({})\n", shape.largestTable, shape.largestTableVariable);
    text += fmt::format("max in-degree: {}\n", shape.maxInDegree);
    text += fmt::format("depth: {} nodes on the longest directed path\n", shape.depth);
    text += fmt::format("polytree: {}\n", shape.polytree ? "yes" : "no");
    // Triangulation only: the clique tables are measured, not allocated.
    const samplenet::ExactOptions limit{.memoryLimitBytes = samplenet::bytesOfGiB(arguments.memoryLimitGiB)};
    const samplenet::Evidence evidence = readEvidence(network, arguments.evidence);
    const bool perQuery = !evidence.hard.empty() || !evidence.likelihood.empty() || !arguments.queries.empty();
    const samplenet::CliqueStatistics cliques =
        perQuery ? samplenet::estimateQueryCliques(network, evidence, variablesNamed(network, arguments.queries, "-q"),
                                                   limit)
                 : samplenet::estimateCliques(network, limit);
    const std::string tree = perQuery ? "junction tree for this evidence and query" : "junction tree";
    if (cliques.exceedsLimit)
        text += fmt::format("{}: more than the memory limit of {} (stopped after {} of {} variables)\n", tree,
                            samplenet::describeBytes(cliques.limitBytes), cliques.variablesEliminated, network.size());
    else
        text += fmt::format(
            "{}: {} cliques, largest {} nodes ({} entries), {} entries in all ({:.1f} MiB){}\n"
            "exact inference: {}\n"
            "elimination order: {}, the cheapest in table entries of those tried\n",
            tree, cliques.cliqueCount, cliques.largestCliqueVariables, cliques.largestCliqueEntries,
            cliques.totalEntries, static_cast<double>(cliques.estimatedBytes) / (1 << 20),
            cliques.estimatedBytes > cliques.limitBytes ? ", above the memory limit" : "",
            samplenet::describePredictedSeconds(samplenet::predictedExactSeconds(cliques)), cliques.order);
    std::cout << text;
}

}  // namespace samplenet_cli
