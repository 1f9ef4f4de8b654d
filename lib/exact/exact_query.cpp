#include "lib/exact/exact_query.h"

#include <cmath>
#include <stdexcept>
#include <string>

#include "lib/exact/relevant_factors.h"

namespace samplenet {

ExactResult inferExactly(const Network& network, const Evidence& evidence, const std::vector<int>& queried,
                         const ExactOptions& options) {
    checkIndexable(network);
    const int n = network.size();
    std::vector<int> stateCounts;
    for (const Variable& variable : network.variables) stateCounts.push_back(variable.stateCount());
    const EvidenceWeights weights =
        evidenceWeights(evidence, stateCounts, [&](int v) { return network.variables[v].name; });
    std::vector<char> wanted;
    if (!queried.empty()) {
        wanted.assign(n, 0);
        for (int v : queried) {
            if (v < 0 || v >= n)
                throw std::invalid_argument("queried variable index " + std::to_string(v) + " is out of range");
            wanted[v] = 1;
        }
    }

    const RelevantFactors relevant(network, weights, wanted);
    ExactResult part = JunctionTree(relevant.model, options).inferOnce(relevant.weights, relevant.queried);

    ExactResult result{std::vector<std::vector<double>>(n), 0.0, part.logProbabilityOfEvidence + relevant.logScale};
    result.probabilityOfEvidence = std::exp(result.logProbabilityOfEvidence);
    for (std::size_t i = 0; i < relevant.original.size(); ++i)
        result.posteriors[relevant.original[i]] = std::move(part.posteriors[i]);
    for (int v = 0; v < n; ++v)
        if (relevant.observed[v] >= 0 && (wanted.empty() || wanted[v])) {
            result.posteriors[v].assign(stateCounts[v], 0.0);
            result.posteriors[v][relevant.observed[v]] = 1.0;
        }
    return result;
}

}  // namespace samplenet
