#include "cli/intervention_options.h"

namespace samplenet_cli {

void addInterventionOption(CLI::App& command, std::vector<std::string>& interventions) {
    command
        .add_option("--do", interventions,
                    "Set NODE to STATE from outside: its parents are cut off and it keeps that state, so only what "
                    "it causes moves (unlike -e); repeatable")
        ->allow_extra_args(false);
}

samplenet::Interventions readInterventions(const samplenet::Network& network, const samplenet::Evidence& evidence,
                                           const std::vector<std::string>& texts) {
    samplenet::Interventions interventions;
    for (const std::string& text : texts) samplenet::addIntervention(network, text, interventions);
    samplenet::checkInterventions(network, evidence, interventions);
    return interventions;
}

std::string interventionHeader(const samplenet::Network& network, const samplenet::Interventions& interventions) {
    if (interventions.empty()) return {};
    return "# interventions: " + samplenet::interventionDescription(network, interventions) + "\n";
}

void addInterventionsJson(nlohmann::ordered_json& json, const samplenet::Network& network,
                          const samplenet::Interventions& interventions) {
    if (interventions.empty()) return;
    auto& entries = json["interventions"] = nlohmann::ordered_json::object();
    for (const auto& [v, state] : interventions) entries[network.variables[v].name] = network.variables[v].states[state];
}

}  // namespace samplenet_cli
