#include "lib/formats/network_builder.h"

#include <algorithm>

#include "lib/formats/network_text.h"
#include "lib/model/errors.h"

namespace samplenet {

NetworkBuilder::NetworkBuilder(std::string path, const ReadLimits& limits) : errors_(std::move(path)), limits_(limits) {}

Variable& NetworkBuilder::addVariable(std::string name, int line) {
    const int index = network_.size();
    if (!indexByName_.emplace(name, index).second) fail(line, "a new variable name", "duplicate " + quoted(name));
    network_.variables.emplace_back().name = std::move(name);
    defined_.push_back(false);
    return network_.variables.back();
}

int NetworkBuilder::variableIndex(std::string_view name, int line) const {
    const auto it = indexByName_.find(name);
    if (it == indexByName_.end()) fail(line, "a declared variable", "unknown " + quoted(name));
    return it->second;
}

int NetworkBuilder::stateIndex(int variable, std::string_view state, int line) const {
    const auto& states = network_.variables[variable].states;
    const auto it = std::find(states.begin(), states.end(), state);
    if (it == states.end())
        fail(line, "a state of " + quoted(network_.variables[variable].name), "unknown " + quoted(state));
    return static_cast<int>(it - states.begin());
}

void NetworkBuilder::checkStateCount(std::string_view variable, std::size_t count, int line) const {
    if (count > limits_.maxStates)
        fail(line, "at most " + std::to_string(limits_.maxStates) + " states per variable (--max-states)",
             std::to_string(count) + " for " + quoted(variable));
}

std::size_t NetworkBuilder::checkParents(int variable, const std::vector<int>& parents, int line) const {
    const std::string& name = network_.variables[variable].name;
    std::size_t size = network_.variables[variable].states.size();
    // Readers divide table sizes by the state count.
    if (size == 0) fail(line, "states declared for " + quoted(name), "none");
    bool tooLarge = false;
    for (auto parent = parents.begin(); parent != parents.end(); ++parent) {
        if (std::find(parents.begin(), parent, *parent) != parent)
            fail(line, "distinct parents", quoted(network_.variables[*parent].name) + " twice");
        const std::size_t states = network_.variables[*parent].states.size();
        if (states != 0 && size > limits_.maxTableEntries / states) tooLarge = true;
        else size *= states;
    }
    if (tooLarge || size > limits_.maxTableEntries)
        fail(line, "a table of at most " + std::to_string(limits_.maxTableEntries) + " entries (--max-table-entries)",
             "a larger one for " + quoted(name));
    if (size > limits_.maxTotalEntries - std::min(totalEntries_, limits_.maxTotalEntries))
        fail(line, "at most " + std::to_string(limits_.maxTotalEntries) + " table entries in all (--max-total-entries)",
             "more with the table of " + quoted(name));
    return size;
}

void NetworkBuilder::define(int variable, std::vector<int> parents, std::vector<double> table, int line) {
    Variable& target = network_.variables[variable];
    if (defined_[variable]) fail(line, "one table per variable", "a second one for " + quoted(target.name));
    defined_[variable] = true;
    totalEntries_ += table.size();
    target.parents = std::move(parents);
    target.table = std::move(table);
}

Network NetworkBuilder::finish(int lastLine) {
    for (int v = 0; v < network_.size(); ++v)
        if (!defined_[v]) fail(lastLine, "a table for variable " + quoted(network_.variables[v].name), "none");
    if (network_.variables.empty()) throw noNetwork(errors_.path());
    // Variables were appended one by one: up to half the vector's room is
    // spare, which on ten million variables is most of a gigabyte.
    network_.variables.shrink_to_fit();
    network_.reindex();
    Renormalised renormalised;
    try {
        renormalised = validate(network_, limits_.sumTolerance);
    } catch (const ModelError& error) {
        throw ModelError(errors_.path() + ": " + error.what());
    }
    if (renormalised.columns > 0 && limits_.note)
        limits_.note(errors_.path() + ": rescaled " + std::to_string(renormalised.columns) +
                     (renormalised.columns == 1 ? " probability column" : " probability columns") + " to sum to 1 (all summed to within " + shortNumber(limits_.sumTolerance) +
                     " of 1; the furthest, " + renormalised.furthestColumn + ", to " +
                     shortNumber(renormalised.furthestSum) + ")");
    return std::move(network_);
}

}  // namespace samplenet
