#pragma once

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "lib/impact/intervention.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet_cli {

// --do NODE=STATE, repeatable.
void addInterventionOption(CLI::App& command, std::vector<std::string>& interventions);

// The interventions named, checked against the network and the evidence.
samplenet::Interventions readInterventions(const samplenet::Network& network, const samplenet::Evidence& evidence,
                                           const std::vector<std::string>& texts);

// "# interventions: X=yes\n" for a table's header; empty without any.
std::string interventionHeader(const samplenet::Network& network, const samplenet::Interventions& interventions);

// Adds {"X": "yes"} as "interventions" to a JSON report that has any.
void addInterventionsJson(nlohmann::ordered_json& json, const samplenet::Network& network,
                          const samplenet::Interventions& interventions);

}  // namespace samplenet_cli
