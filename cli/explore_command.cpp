#include "cli/explore_command.h"

#include <fmt/format.h>

#include <cctype>
#include <filesystem>
#include <iostream>
#include <utility>

#include "cli/intervention_options.h"
#include "cli/posterior_output.h"
#include "lib/explore/explore_server.h"

namespace samplenet_cli {

namespace {

std::string percentEncoded(const std::string& text) {
    std::string encoded;
    for (unsigned char c : text) {
        if (std::isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~')
            encoded += static_cast<char>(c);
        else
            encoded += fmt::format("%{:02X}", c);
    }
    return encoded;
}

// The page reads its evidence (e=NODE=STATE, e=NODE=[...]), the nodes set
// (do=NODE=STATE) and the nodes it draws (q=NODE) from its address.
std::string pageQuery(const samplenet::Network& network, const samplenet::Evidence& evidence,
                      const samplenet::Interventions& interventions, const std::vector<std::string>& queries) {
    std::vector<std::string> parameters;
    for (int v : samplenet::observedInGivenOrder(evidence))
        parameters.push_back("e=" + percentEncoded(evidenceAssignment(network, evidence, v)));
    for (const auto& [v, state] : interventions)
        parameters.push_back("do=" + percentEncoded(network.variables[v].name + "=" + network.variables[v].states[state]));
    for (const std::string& query : queries) parameters.push_back("q=" + percentEncoded(query));
    return parameters.empty() ? "" : fmt::format("?{}", fmt::join(parameters, "&"));
}

}  // namespace

CLI::App* addExploreCommand(CLI::App& app, ExploreArguments& arguments) {
    CLI::App* command = app.add_subcommand("explore", "Local web page: click evidence, see posteriors");
    command->footer("The page is served on 127.0.0.1 only; every posterior follows each click.");
    addInferenceOptions(*command, arguments.inference);
    command
        ->add_option("-q,--query", arguments.inference.queries,
                     "Draw this node at first, with its parents and children; repeatable")
        ->allow_extra_args(false);
    command->add_option("--port", arguments.port, "Port to listen on; 0 picks a free one")
        ->check(CLI::Range(0, 65535))
        ->capture_default_str();
    return command;
}

void runExplore(ExploreArguments arguments) {
    // The page sets and unsets nodes on the network as read: --do goes into
    // its address, not into the network it serves.
    const std::vector<std::string> settings = std::exchange(arguments.inference.interventions, {});
    InferenceRun run = prepareInference(arguments.inference);
    const samplenet::Interventions interventions = readInterventions(run.network, run.evidence, settings);
    queriedVariables(run.network, arguments.inference.queries);  // refuses unknown names now
    run.options.progress = nullptr;                              // the page shows progress instead
    const std::string query = pageQuery(run.network, run.evidence, interventions, arguments.inference.queries);
    samplenet::ExploreService service(std::filesystem::path(run.source).filename().string(), std::move(run.network),
                                      run.options);
    samplenet::ExploreServer server(service, arguments.port);
    std::cout << "samplenet explore: open " << server.url() << query << " (Ctrl-C stops)" << std::endl;
    server.wait();
}

}  // namespace samplenet_cli
