#include "cli/node_description.h"

#include <fmt/format.h>

#include <algorithm>

#include "lib/graph/markov_blanket.h"

namespace samplenet_cli {

namespace {

std::string names(const samplenet::Network& network, const std::vector<int>& variables) {
    if (variables.empty()) return "(none)";
    std::string text;
    for (int v : variables) text += (text.empty() ? "" : ", ") + network.variables[v].name;
    return text;
}

// Rows of cells as columns two spaces apart, each as wide as its widest cell.
std::string alignedColumns(const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()), 0);
        for (std::size_t c = 0; c < row.size(); ++c) widths[c] = std::max(widths[c], row[c].size());
    }
    std::string text;
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t c = 0; c < row.size(); ++c)
            line += c + 1 < row.size() ? fmt::format("{:<{}}  ", row[c], widths[c]) : row[c];
        text += line + "\n";
    }
    return text;
}

std::string tableText(const samplenet::Network& network, int v) {
    const samplenet::Variable& variable = network.variables[v];
    std::vector<std::vector<std::string>> rows(1);
    for (int p : variable.parents) rows[0].push_back(network.variables[p].name);
    rows[0].insert(rows[0].end(), variable.states.begin(), variable.states.end());
    const std::size_t states = variable.states.size();
    for (std::size_t q = 0; q < network.configurationCount(v); ++q) {
        std::vector<std::string> row(variable.parents.size());
        std::size_t rest = q;
        for (std::size_t k = variable.parents.size(); k-- > 0;) {
            const samplenet::Variable& parent = network.variables[variable.parents[k]];
            row[k] = parent.states[rest % parent.states.size()];
            rest /= parent.states.size();
        }
        // Shortest text that reads back as the same double.
        for (std::size_t s = 0; s < states; ++s) row.push_back(fmt::format("{}", variable.table[q * states + s]));
        rows.push_back(std::move(row));
    }
    return alignedColumns(rows);
}

}  // namespace

std::string describeNode(const samplenet::Network& network, int v) {
    const samplenet::Variable& variable = network.variables[v];
    std::string text = fmt::format("node: {}\n", variable.name);
    text += fmt::format("states: {}\n", fmt::join(variable.states, ", "));
    text += fmt::format("parents: {}\n", names(network, variable.parents));
    text += fmt::format("children: {}\n", names(network, network.children()[v]));
    text += fmt::format("markov blanket: {}\n", names(network, samplenet::markovBlanket(network, v)));
    text += fmt::format("table: P({}{}{})\n", variable.name, variable.parents.empty() ? "" : " | ",
                        variable.parents.empty() ? "" : names(network, variable.parents));
    return text + tableText(network, v);
}

}  // namespace samplenet_cli
