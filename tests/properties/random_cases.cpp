#include "tests/properties/random_cases.h"

#include <algorithm>
#include <cmath>

#include "tests/support/tiny_network.h"

namespace property_testing {

RandomCase randomCase(std::mt19937& rng, const testing_support::RandomNetworkShape& shape, bool withLikelihood) {
    RandomCase c;
    c.net = testing_support::randomNetwork(rng, shape);
    c.network = testing_support::toNetwork(c.net);
    const std::vector<int> hard = testing_support::sampledEvidence(rng, c.net, 0.3);
    std::vector<std::vector<double>> likelihood(c.net.size());
    c.evidence = testing_support::withHardEvidence(hard);
    if (withLikelihood) {
        std::uniform_real_distribution<double> factor(0.1, 2.0);
        for (int v = 0; v < c.net.size(); ++v) {
            if (hard[v] >= 0 || c.net.states[v] < 2) continue;
            for (int s = 0; s < c.net.states[v]; ++s) likelihood[v].push_back(factor(rng));
            c.evidence.likelihood[v] = likelihood[v];
            break;
        }
    }
    c.exact = testing_support::enumerate(c.net, hard, likelihood);
    return c;
}

double largestDifference(const std::vector<std::vector<double>>& a, const std::vector<std::vector<double>>& b) {
    if (a.size() != b.size()) return INFINITY;
    double largest = 0.0;
    for (std::size_t v = 0; v < a.size(); ++v) {
        if (a[v].size() != b[v].size()) return INFINITY;
        for (std::size_t s = 0; s < a[v].size(); ++s) largest = std::max(largest, std::fabs(a[v][s] - b[v][s]));
    }
    return largest;
}

}  // namespace property_testing
