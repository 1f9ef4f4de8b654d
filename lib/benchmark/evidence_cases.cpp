#include "lib/benchmark/evidence_cases.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>

namespace samplenet {
namespace {

using Random = std::mt19937_64;

// How a forward sample draws each variable's state from its column.
enum class Draw {
    Model,           // by the column's probabilities: a typical joint state
    UniformSupport,  // uniformly among the column's possible states: an
                     // atypical joint state that still has positive probability
};

std::vector<int> forwardSample(const Network& network, const std::vector<int>& order, Draw draw, Random& random) {
    std::vector<int> states(network.size(), 0);
    std::vector<double> weights;
    for (int v : order) {
        const Variable& variable = network.variables[v];
        std::size_t column = 0;
        for (int p : variable.parents) column = column * network.variables[p].states.size() + states[p];
        const double* distribution = variable.table.data() + column * variable.states.size();
        weights.assign(distribution, distribution + variable.stateCount());
        if (draw == Draw::UniformSupport)
            for (double& w : weights) w = w > 0.0 ? 1.0 : 0.0;
        states[v] = std::discrete_distribution<int>(weights.begin(), weights.end())(random);
    }
    return states;
}

std::vector<int> chooseObserved(int variables, double fraction, Random& random) {
    std::vector<int> all(variables);
    std::iota(all.begin(), all.end(), 0);
    std::shuffle(all.begin(), all.end(), random);
    const int count = std::clamp(static_cast<int>(std::lround(fraction * variables)), 1, variables);
    all.resize(count);
    std::sort(all.begin(), all.end());
    return all;
}

Evidence observe(const Network& network, const std::vector<int>& order, double fraction, Draw draw,
               Random& random) {
    const std::vector<int> states = forwardSample(network, order, draw, random);
    Evidence evidence;
    for (int v : chooseObserved(network.size(), fraction, random)) evidence.hard[v] = states[v];
    return evidence;
}

std::map<std::string, std::string> namesOf(const Network& network, const Evidence& evidence) {
    std::map<std::string, std::string> named;
    for (const auto& [v, state] : evidence.hard) named[network.variables[v].name] = network.variables[v].states[state];
    return named;
}

}  // namespace

std::string caseKindName(CaseKind kind) { return kind == CaseKind::Likely ? "likely" : "unlikely"; }

std::vector<EvidenceCase> generateCases(const Network& network, const JunctionTree& exact,
                                        const CaseOptions& options) {
    Random random(options.seed);
    const std::vector<int> order = network.topologicalOrder();
    std::vector<EvidenceCase> cases;

    for (int c = 0; c < options.likelyCases; ++c) {
        const Evidence evidence = observe(network, order, options.observedFraction, Draw::Model, random);
        const double log10P = exact.infer(evidence).logProbabilityOfEvidence / std::log(10.0);
        cases.push_back({CaseKind::Likely, evidence, log10P, namesOf(network, evidence)});
    }

    const double bound = std::log10(options.unlikelyBelow);
    for (int c = 0; c < options.unlikelyCases; ++c) {
        for (int attempt = 0; attempt < options.attemptsPerCase; ++attempt) {
            const Evidence evidence = observe(network, order, options.observedFraction, Draw::UniformSupport, random);
            const double log10P = exact.infer(evidence).logProbabilityOfEvidence / std::log(10.0);
            if (log10P < bound) {
                cases.push_back({CaseKind::Unlikely, evidence, log10P, namesOf(network, evidence)});
                break;
            }
        }
    }
    return cases;
}

Evidence forwardSampledEvidence(const Network& network, double observedFraction, unsigned long seed) {
    Random random(seed);
    return observe(network, network.topologicalOrder(), observedFraction, Draw::Model, random);
}

}  // namespace samplenet
