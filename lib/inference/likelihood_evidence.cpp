#include "lib/inference/likelihood_evidence.h"

#include <algorithm>
#include <cmath>

namespace samplenet {

std::map<int, int> addLikelihoodChildren(Network& network, const Evidence& evidence) {
    std::map<int, int> observed = evidence.hard;
    for (const auto& [v, likelihood] : evidence.likelihood) {
        const double largest = *std::max_element(likelihood.begin(), likelihood.end());
        Variable child;
        child.name = network.variables[v].name + "#likelihood";
        child.states = {"observed", "unobserved"};
        child.parents = {v};
        for (double l : likelihood) {
            const double p = l / largest;
            child.table.push_back(p);
            child.table.push_back(1.0 - p);
        }
        observed.emplace(network.size(), 0);
        network.variables.push_back(std::move(child));
    }
    network.reindex();
    return observed;
}

double logProbabilityOfEvidence(double logMeanWeight, const Evidence& evidence) {
    double logP = logMeanWeight;
    for (const auto& [v, factors] : evidence.likelihood) logP += std::log(*std::max_element(factors.begin(), factors.end()));
    return logP;
}

}  // namespace samplenet
