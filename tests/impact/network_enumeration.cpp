#include "tests/impact/network_enumeration.h"

#include <cmath>

#include "lib/formats/formats.h"
#include "tests/support/brute_force.h"

namespace impact_testing {

const samplenet::Network& asia() {
    static const samplenet::Network network =
        samplenet::readNetwork(std::string(SAMPLENET_TEST_DATA) + "/networks/asia.bif.gz");
    return network;
}

int node(const std::string& name) { return *asia().indexOf(name); }

std::vector<std::vector<double>> pairPosterior(const samplenet::Network& network, int a, int b,
                                               const std::map<int, int>& fixed,
                                               const std::map<int, std::vector<double>>& likelihood) {
    std::vector<std::vector<double>> table(network.variables[a].stateCount(),
                                           std::vector<double>(network.variables[b].stateCount(), 0.0));
    double total = 0.0;
    testing_support::enumerateJointStates(network, {}, [&](const std::vector<int>& states, double p) {
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

double mutualInformation(const std::vector<std::vector<double>>& joint) {
    std::vector<double> rows(joint.size(), 0.0);
    std::vector<double> columns(joint[0].size(), 0.0);
    for (std::size_t a = 0; a < joint.size(); ++a)
        for (std::size_t b = 0; b < joint[a].size(); ++b) {
            rows[a] += joint[a][b];
            columns[b] += joint[a][b];
        }
    double information = 0.0;
    for (std::size_t a = 0; a < joint.size(); ++a)
        for (std::size_t b = 0; b < joint[a].size(); ++b)
            if (joint[a][b] > 0) information += joint[a][b] * std::log2(joint[a][b] / (rows[a] * columns[b]));
    return information;
}

}  // namespace impact_testing
