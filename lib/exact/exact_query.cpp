#include "lib/exact/exact_query.h"

#include <cmath>
#include <stdexcept>
#include <string>

#include "lib/exact/relevant_factors.h"

namespace samplenet {

namespace {

// The evidence as weights and the queried variables as marks, checked.
struct Query {
    std::vector<int> stateCounts;
    EvidenceWeights weights;
    std::vector<char> wanted;  // empty: every variable
};

Query queryOf(const Network& network, const Evidence& evidence, const std::vector<int>& queried) {
    checkIndexable(network);
    const int n = network.size();
    Query query;
    for (const Variable& variable : network.variables) query.stateCounts.push_back(variable.stateCount());
    query.weights = evidenceWeights(evidence, query.stateCounts, [&](int v) { return network.variables[v].name; });
    if (!queried.empty()) {
        query.wanted.assign(n, 0);
        for (int v : queried) {
            if (v < 0 || v >= n)
                throw std::invalid_argument("queried variable index " + std::to_string(v) + " is out of range");
            query.wanted[v] = 1;
        }
    }
    return query;
}

}  // namespace

ExactResult inferExactly(const Network& network, const Evidence& evidence, const std::vector<int>& queried,
                         const ExactOptions& options) {
    const Query query = queryOf(network, evidence, queried);
    const RelevantFactors relevant(network, query.weights, query.wanted);
    ExactResult part = JunctionTree(relevant.model, options).inferOnce(relevant.weights, relevant.queried);

    const int n = network.size();
    ExactResult result{std::vector<std::vector<double>>(n), 0.0, part.logProbabilityOfEvidence + relevant.logScale};
    result.probabilityOfEvidence = std::exp(result.logProbabilityOfEvidence);
    for (std::size_t i = 0; i < relevant.original.size(); ++i)
        result.posteriors[relevant.original[i]] = std::move(part.posteriors[i]);
    for (int v = 0; v < n; ++v)
        if (relevant.observed[v] >= 0 && (query.wanted.empty() || query.wanted[v])) {
            result.posteriors[v].assign(query.stateCounts[v], 0.0);
            result.posteriors[v][relevant.observed[v]] = 1.0;
        }
    return result;
}

CliqueStatistics estimateQueryCliques(const Network& network, const Evidence& evidence,
                                      const std::vector<int>& queried, const ExactOptions& options) {
    const Query query = queryOf(network, evidence, queried);
    const RelevantFactors relevant(network, query.weights, query.wanted);
    return estimateCliques(relevant.model, options);
}

}  // namespace samplenet
