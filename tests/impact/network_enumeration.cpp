#include "tests/impact/network_enumeration.h"

#include <algorithm>

#include "lib/formats/formats.h"

namespace impact_testing {

const samplenet::Network& asia() {
    static const samplenet::Network network =
        samplenet::readNetwork(std::string(SAMPLENET_TEST_DATA) + "/networks/asia.bif.gz");
    return network;
}

int node(const std::string& name) { return *asia().indexOf(name); }

void enumerateJointStates(const samplenet::Network& network, const std::vector<int>& skipped,
                          const std::function<void(const std::vector<int>&, double)>& visit) {
    std::vector<int> states(network.size(), 0);
    while (true) {
        double probability = 1.0;
        for (int v = 0; v < network.size(); ++v) {
            if (std::find(skipped.begin(), skipped.end(), v) != skipped.end()) continue;
            const samplenet::Variable& variable = network.variables[v];
            std::size_t q = 0;
            for (int parent : variable.parents) q = q * network.variables[parent].states.size() + states[parent];
            probability *= variable.table[q * variable.states.size() + states[v]];
        }
        visit(states, probability);
        int v = 0;
        while (v < network.size() && ++states[v] == network.variables[v].stateCount()) states[v++] = 0;
        if (v == network.size()) return;
    }
}

std::vector<std::vector<double>> pairPosterior(const samplenet::Network& network, int a, int b,
                                               const std::map<int, int>& fixed,
                                               const std::map<int, std::vector<double>>& likelihood) {
    std::vector<std::vector<double>> table(network.variables[a].stateCount(),
                                           std::vector<double>(network.variables[b].stateCount(), 0.0));
    double total = 0.0;
    enumerateJointStates(network, {}, [&](const std::vector<int>& states, double p) {
        for (const auto& [v, state] : fixed)
            if (states[v] != state) return;
        for (const auto& [v, factors] : likelihood) p *= factors[states[v]];
        table[states[a]][states[b]] += p;
        total += p;
    });
    for (auto& row : table)
        for (double& p : row) p /= total;
    return table;
}

}  // namespace impact_testing
