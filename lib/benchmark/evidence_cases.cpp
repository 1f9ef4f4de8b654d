#include "lib/benchmark/evidence_cases.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>

#include "lib/model/errors.h"

namespace samplenet {
namespace {

using Random = std::mt19937_64;

std::vector<int> forwardSample(const Network& network, const std::vector<int>& order, Random& random) {
    std::vector<int> states(network.size(), 0);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (int v : order) {
        const Variable& variable = network.variables[v];
        std::size_t column = 0;
        for (int p : variable.parents) column = column * network.variables[p].states.size() + states[p];
        const double* distribution = variable.table.data() + column * variable.states.size();
        double u = unit(random);
        int s = 0;
        while (s + 1 < variable.stateCount() && u >= distribution[s]) u -= distribution[s++];
        states[v] = s;
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

}  // namespace

std::string caseKindName(CaseKind kind) { return kind == CaseKind::Likely ? "likely" : "unlikely"; }

std::vector<EvidenceCase> generateCases(const Network& network, const JunctionTree& exact,
                                        const CaseOptions& options) {
    Random random(options.seed);
    const std::vector<int> order = network.topologicalOrder();
    std::vector<EvidenceCase> cases;

    for (int c = 0; c < options.likelyCases; ++c) {
        const std::vector<int> states = forwardSample(network, order, random);
        Evidence evidence;
        for (int v : chooseObserved(network.size(), options.observedFraction, random)) evidence.hard[v] = states[v];
        const double log10P = exact.infer(evidence).logProbabilityOfEvidence / std::log(10.0);
        cases.push_back({CaseKind::Likely, std::move(evidence), log10P});
    }

    const double bound = std::log10(options.unlikelyBelow);
    for (int c = 0; c < options.unlikelyCases; ++c) {
        for (int attempt = 0; attempt < options.attemptsPerCase; ++attempt) {
            Evidence evidence;
            for (int v : chooseObserved(network.size(), options.observedFraction, random)) {
                std::uniform_int_distribution<int> state(0, network.variables[v].stateCount() - 1);
                evidence.hard[v] = state(random);
            }
            double log10P = 0.0;
            try {
                log10P = exact.infer(evidence).logProbabilityOfEvidence / std::log(10.0);
            } catch (const EvidenceError&) {
                continue;  // impossible evidence
            }
            if (log10P < bound) {
                cases.push_back({CaseKind::Unlikely, std::move(evidence), log10P});
                break;
            }
        }
    }
    return cases;
}

}  // namespace samplenet
