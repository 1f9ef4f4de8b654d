#include "lib/benchmark/marginal_comparison.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

#include "lib/benchmark/accuracy_benchmark.h"

namespace samplenet {

MarginalComparison compareMarginals(const std::vector<std::vector<double>>& posteriors, const std::vector<bool>& valid,
                                    const std::vector<std::vector<double>>& reference, const Evidence& evidence) {
    MarginalComparison comparison;
    int unobserved = 0;
    for (std::size_t v = 0; v < reference.size(); ++v) {
        const bool observed = evidence.hard.count(static_cast<int>(v)) != 0;
        const bool reported = v < valid.size() && valid[v] && posteriors[v].size() == reference[v].size();
        if (!reported) {
            if (observed) continue;
            throw std::invalid_argument("no posterior of unobserved variable " + std::to_string(v) + " to compare");
        }
        for (std::size_t s = 0; s < reference[v].size(); ++s) {
            // A NaN posterior must show, not vanish in a comparison.
            const double error = std::abs(posteriors[v][s] - reference[v][s]);
            if (std::isnan(error) || error > comparison.largestError) comparison.largestError = error;
        }
        if (observed) continue;
        comparison.meanHellinger += hellingerDistance(posteriors[v], reference[v]);
        ++unobserved;
    }
    if (unobserved > 0) comparison.meanHellinger /= unobserved;
    return comparison;
}

}  // namespace samplenet
