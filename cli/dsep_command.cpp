#include "cli/dsep_command.h"

#include <iostream>
#include <nlohmann/json.hpp>

#include "cli/read_limit_options.h"
#include "cli/run_options.h"
#include "lib/formats/formats.h"
#include "lib/graph/d_separation.h"

namespace samplenet_cli {

namespace {

std::vector<std::string> namesIn(const std::string& list) {
    std::vector<std::string> names;
    std::string::size_type start = 0;
    for (auto comma = list.find(','); comma != std::string::npos; comma = list.find(',', start)) {
        names.push_back(list.substr(start, comma - start));
        start = comma + 1;
    }
    names.push_back(list.substr(start));
    return names;
}

}  // namespace

CLI::App* addDsepCommand(CLI::App& app, DsepArguments& arguments) {
    CLI::App* command = app.add_subcommand("dsep", "Whether node sets are d-separated given a third");
    command->footer("D-separated sets are independent in every distribution the graph allows.");
    command->add_option("network", arguments.networkPath, "Network file")->required();
    // Sets as comma-separated lists, as --joint takes them, so that the
    // common question of two single nodes reads "dsep NET A B".
    command->add_option("a", arguments.a, "First node, or nodes separated by commas")->required();
    command->add_option("b", arguments.b, "Second node, or nodes separated by commas")->required();
    command->add_option("-g,--given", arguments.given, "Observed node (or nodes separated by commas); repeatable")
        ->delimiter(',')
        ->allow_extra_args(false);
    command->add_option("--format", arguments.format, "text (a line: yes or no) or json")
        ->check(CLI::IsMember({"text", "json"}))
        ->capture_default_str();
    addReadLimitOptions(command, arguments.readLimits);
    return command;
}

void runDsep(const DsepArguments& arguments) {
    const samplenet::Network network = samplenet::readNetwork(arguments.networkPath, arguments.readLimits);
    const std::vector<std::string> a = namesIn(arguments.a), b = namesIn(arguments.b);
    const bool separated = samplenet::dSeparated(network, variablesNamed(network, a, "the first set"),
                                                 variablesNamed(network, b, "the second set"),
                                                 variablesNamed(network, arguments.given, "--given"));
    if (arguments.format == "json")
        std::cout << nlohmann::json{{"a", a},
                                    {"b", b},
                                    {"given", arguments.given},
                                    {"d_separated", separated}}
                         .dump(2)
                  << "\n";
    else
        std::cout << (separated ? "yes\n" : "no\n");
}

}  // namespace samplenet_cli
