#include "lib/exact/evidence_weights.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "lib/model/errors.h"

namespace samplenet {

EvidenceWeights evidenceWeights(const Evidence& evidence, const std::vector<int>& stateCounts,
                                const std::function<std::string(int)>& nameOf) {
    const int n = static_cast<int>(stateCounts.size());
    EvidenceWeights weights(n);
    const auto checkVariable = [&](int v) {
        if (v < 0 || v >= n)
            throw EvidenceError(fmt::format("evidence on variable index {}, but the network has {} variables", v, n));
    };
    for (const auto& [v, state] : evidence.hard) {
        checkVariable(v);
        if (state < 0 || state >= stateCounts[v])
            throw EvidenceError(fmt::format("evidence on '{}' names state index {}, but it has {} states", nameOf(v),
                                            state, stateCounts[v]));
        weights[v].assign(stateCounts[v], 0.0);
        weights[v][state] = 1.0;
    }
    for (const auto& [v, factors] : evidence.likelihood) {
        checkVariable(v);
        if (factors.size() != static_cast<std::size_t>(stateCounts[v]))
            throw EvidenceError(fmt::format("likelihood evidence on '{}' has {} weights, but it has {} states",
                                            nameOf(v), factors.size(), stateCounts[v]));
        if (std::any_of(factors.begin(), factors.end(), [](double f) { return !(f >= 0.0) || !std::isfinite(f); }))
            throw EvidenceError(fmt::format("likelihood evidence on '{}' has a negative or non-finite weight", nameOf(v)));
        if (std::all_of(factors.begin(), factors.end(), [](double f) { return f == 0.0; }))
            throw EvidenceError(fmt::format("likelihood evidence on '{}' gives every state weight 0", nameOf(v)));
        if (weights[v].empty()) weights[v].assign(stateCounts[v], 1.0);
        for (std::size_t s = 0; s < factors.size(); ++s) weights[v][s] *= factors[s];
    }
    return weights;
}

}  // namespace samplenet
