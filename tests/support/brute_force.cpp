#include "tests/support/brute_force.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "tests/support/tiny_network.h"

namespace testing_support {

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

ExactAnswer enumerate(const TinyNet& net, const std::vector<int>& evidence,
                      const std::vector<std::vector<double>>& likelihood) {
    const int n = net.size();
    ExactAnswer answer;
    for (int v = 0; v < n; ++v) answer.posteriors.emplace_back(net.states[v], 0.0);
    enumerateJointStates(toNetwork(net), {}, [&](const std::vector<int>& joint, double p) {
        for (int v = 0; v < n; ++v) {
            if (!evidence.empty() && evidence[v] >= 0 && evidence[v] != joint[v]) return;
            if (v < static_cast<int>(likelihood.size()) && !likelihood[v].empty()) p *= likelihood[v][joint[v]];
        }
        answer.probabilityOfEvidence += p;
        for (int v = 0; v < n; ++v) answer.posteriors[v][joint[v]] += p;
    });
    if (answer.probabilityOfEvidence > 0.0)
        for (auto& posterior : answer.posteriors)
            for (double& p : posterior) p /= answer.probabilityOfEvidence;
    return answer;
}

double largestDifference(const std::vector<std::vector<double>>& actual,
                         const std::vector<std::vector<double>>& expected) {
    constexpr double kMismatch = std::numeric_limits<double>::infinity();
    if (actual.size() != expected.size()) return kMismatch;
    double worst = 0.0;
    for (std::size_t v = 0; v < expected.size(); ++v) {
        if (actual[v].size() != expected[v].size()) return kMismatch;
        for (std::size_t s = 0; s < expected[v].size(); ++s) {
            const double difference = std::abs(actual[v][s] - expected[v][s]);
            // A NaN, once met, stays: no comparison with it is true.
            if (std::isnan(difference) || difference > worst) worst = difference;
        }
    }
    return worst;
}

}  // namespace testing_support
