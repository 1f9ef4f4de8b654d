#include "lib/queries/joint_posterior.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

#include "lib/model/errors.h"
#include "lib/queries/factor_elimination.h"

namespace samplenet {

void checkJointVariables(const Network& network, const std::vector<int>& variables) {
    std::vector<int> sorted = variables;
    std::sort(sorted.begin(), sorted.end());
    if (std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end())
        throw EvidenceError("a joint posterior names a variable twice");
    for (int v : variables)
        if (v < 0 || v >= network.size()) throw EvidenceError(fmt::format("no variable number {}", v));
}

std::vector<int> unobservedAmong(const Evidence& evidence, const std::vector<int>& variables) {
    std::vector<int> unobserved;
    for (int v : variables)
        if (!evidence.hard.count(v)) unobserved.push_back(v);
    return unobserved;
}

JointPosterior exactJointPosterior(const Network& network, const Evidence& evidence,
                                   const std::vector<int>& variables, const ExactOptions& options) {
    checkJointVariables(network, variables);

    // Observed variables are sliced out of the tables; they join the table
    // again below, certain of their state.
    const std::vector<int> unobserved = unobservedAmong(evidence, variables);
    FactorElimination elimination(network, evidence, options);
    elimination.eliminate(FactorElimination::Mode::Sum, unobserved);
    const std::vector<double> free = elimination.remainder(unobserved);
    const double total = std::accumulate(free.begin(), free.end(), 0.0);

    std::vector<int> stateCounts;
    for (const Variable& variable : network.variables) stateCounts.push_back(variable.stateCount());
    const TableShape whole(variables, stateCounts);
    const TableShape part(unobserved, stateCounts);
    JointPosterior joint{variables, std::vector<double>(whole.size, 0.0), {}};
    // Walk the free table's entries and place each at the observed states.
    std::vector<int> states(network.size(), 0);
    for (const auto& [v, state] : evidence.hard) states[v] = state;
    for (std::size_t entry = 0; entry < part.size; ++entry) {
        for (std::size_t d = 0; d < unobserved.size(); ++d)
            states[unobserved[d]] = static_cast<int>(entry / part.strides[d] % part.cards[d]);
        std::size_t position = 0;
        for (std::size_t d = 0; d < variables.size(); ++d)
            position += static_cast<std::size_t>(states[variables[d]]) * whole.strides[d];
        joint.probabilities[position] = free[entry] / total;
    }
    return joint;
}

}  // namespace samplenet
