#include "lib/exact/evidence_weights.h"

#include "lib/model/evidence_check.h"

namespace samplenet {

EvidenceWeights evidenceWeights(const Evidence& evidence, const std::vector<int>& stateCounts,
                                const std::function<std::string(int)>& nameOf) {
    const int n = static_cast<int>(stateCounts.size());
    checkEvidenceShape(evidence, n, [&](int v) { return stateCounts[v]; }, nameOf);
    EvidenceWeights weights(n);
    for (const auto& [v, state] : evidence.hard) {
        weights[v].assign(stateCounts[v], 0.0);
        weights[v][state] = 1.0;
    }
    for (const auto& [v, factors] : evidence.likelihood) {
        if (weights[v].empty()) weights[v].assign(stateCounts[v], 1.0);
        for (std::size_t s = 0; s < factors.size(); ++s) weights[v][s] *= factors[s];
    }
    return weights;
}

}  // namespace samplenet
