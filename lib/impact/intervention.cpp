#include "lib/impact/intervention.h"

#include <string>

#include "lib/model/errors.h"

namespace samplenet {

namespace {

std::string quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    const auto last = text.find_last_not_of(" \t\r\n");
    return text.substr(first, last - first + 1);
}

}  // namespace

void addIntervention(const Network& network, std::string_view name, std::string_view state,
                     Interventions& interventions) {
    const auto v = network.indexOf(std::string(name));
    if (!v) throw EvidenceError("unknown node " + quoted(name) + " in an intervention");
    const Variable& variable = network.variables[*v];
    const auto index = variable.stateIndex(std::string(state));
    if (!index) {
        std::string valid;
        for (const std::string& s : variable.states) valid += (valid.empty() ? "" : ", ") + s;
        throw EvidenceError("unknown state " + quoted(state) + " of " + quoted(name) +
                            " in an intervention; valid states: " + valid);
    }
    if (!interventions.emplace(*v, *index).second)
        throw EvidenceError("the intervention on " + quoted(name) + " is given twice");
}

void addIntervention(const Network& network, std::string_view text, Interventions& interventions) {
    const auto equals = text.find('=');
    if (equals == std::string_view::npos)
        throw EvidenceError("intervention " + quoted(trimmed(text)) + " is not of the form NODE=STATE");
    addIntervention(network, trimmed(text.substr(0, equals)), trimmed(text.substr(equals + 1)), interventions);
}

void checkInterventions(const Network& network, const Evidence& evidence, const Interventions& interventions) {
    for (const auto& [v, state] : interventions)
        if (evidence.hard.count(v) || evidence.likelihood.count(v))
            throw EvidenceError(quoted(network.variables[v].name) +
                                " is both observed and set by an intervention; give it one or the other");
}

Network intervene(const Network& network, const Interventions& interventions) {
    Network result = network;
    for (const auto& [v, state] : interventions) {
        Variable& variable = result.variables[v];
        variable.parents.clear();
        variable.table.assign(variable.states.size(), 0.0);
        variable.table[state] = 1.0;
    }
    return result;
}

std::string interventionDescription(const Network& network, const Interventions& interventions) {
    std::string text;
    for (const auto& [v, state] : interventions)
        text += (text.empty() ? "" : ", ") + network.variables[v].name + "=" + network.variables[v].states[state];
    return text.empty() ? "none" : text;
}

}  // namespace samplenet
