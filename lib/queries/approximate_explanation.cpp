#include "lib/queries/approximate_explanation.h"

#include <stdexcept>

namespace samplenet {

int improveLocally(const Network& network, const Evidence& evidence, std::vector<int>& states) {
    const std::vector<std::vector<int>> children = network.children();
    // The factors a variable's state enters: its own and its children's.
    const auto blanket = [&](int v) {
        double logProbability = logFamilyProbability(network, evidence, states, v);
        for (int child : children[v]) logProbability += logFamilyProbability(network, evidence, states, child);
        return logProbability;
    };
    int changes = 0;
    for (bool changed = true; changed;) {
        changed = false;
        for (int v = 0; v < network.size(); ++v) {
            if (evidence.hard.count(v)) continue;
            const int current = states[v];
            double best = blanket(v);
            int bestState = current;
            for (int s = 0; s < network.variables[v].stateCount(); ++s) {
                if (s == current) continue;
                states[v] = s;
                if (const double candidate = blanket(v); candidate > best) {
                    best = candidate;
                    bestState = s;
                }
            }
            states[v] = bestState;
            if (bestState != current) {
                ++changes;
                changed = true;
            }
        }
    }
    return changes;
}

Explanation approximateExplanation(const Network& network, const Evidence& evidence, InferenceOptions options,
                                   bool localSearch) {
    if (options.algorithm != Algorithm::Epis && options.algorithm != Algorithm::Ais)
        throw std::invalid_argument("an approximate explanation comes from the samplers: epis or ais");
    options.keepBestSample = true;
    const InferenceResult result = infer(network, evidence, options);
    Explanation explanation;
    explanation.states = result.bestSample;
    explanation.exact = false;
    if (localSearch) explanation.searchChanges = improveLocally(network, evidence, explanation.states);
    explanation.logJoint = logJointProbability(network, evidence, explanation.states);
    explanation.logPosterior = explanation.logJoint - result.logProbabilityOfEvidence.value_or(0.0);
    return explanation;
}

}  // namespace samplenet
