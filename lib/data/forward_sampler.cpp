#include "lib/data/forward_sampler.h"

#include "lib/model/evidence_check.h"

namespace samplenet {

ForwardSampler::ForwardSampler(const Network& network, const Evidence& evidence, std::uint64_t seed)
    : network(network), evidence(evidence), order(network.topologicalOrder()), observed(network.size(), -1),
      generator(seed) {
    checkEvidenceShape(network, evidence);
    for (const auto& [v, state] : evidence.hard) observed[v] = state;
}

int ForwardSampler::draw(const double* column, int stateCount) {
    double u = static_cast<double>(generator() >> 11) * 0x1.0p-53;
    int last = 0;  // the last possible state, where rounding leaves u beyond the column's sum
    for (int s = 0; s < stateCount; ++s) {
        if (column[s] <= 0.0) continue;
        last = s;
        u -= column[s];
        if (u < 0.0) return s;
    }
    return last;
}

double ForwardSampler::next(std::vector<int>& states) {
    states.resize(network.size());
    double weight = 1.0;
    for (int v : order) {
        const Variable& variable = network.variables[v];
        std::size_t configuration = 0;
        for (int p : variable.parents)
            configuration = configuration * network.variables[p].states.size() + static_cast<std::size_t>(states[p]);
        const double* column = variable.table.data() + configuration * variable.states.size();
        if (observed[v] >= 0) {
            states[v] = observed[v];
            weight *= column[observed[v]];
            continue;
        }
        states[v] = draw(column, variable.stateCount());
        if (const auto soft = evidence.likelihood.find(v); soft != evidence.likelihood.end())
            weight *= soft->second[states[v]];
    }
    return weight;
}

std::string weightColumnName(const Network& network) {
    std::string name = "weight";
    while (network.indexOf(name)) name += "_";
    return name;
}

void drawSamples(const Network& network, const Evidence& evidence, std::size_t count, std::uint64_t seed,
                 const Cancellation& cancellation,
                 const std::function<void(const std::vector<int>& states, double weight)>& row) {
    ForwardSampler sampler(network, evidence, seed);
    CancellationPoller poller(cancellation);
    std::vector<int> states;
    for (std::size_t i = 0; i < count; ++i) {
        poller.step();
        const double weight = sampler.next(states);
        row(states, weight);
    }
}

}  // namespace samplenet
