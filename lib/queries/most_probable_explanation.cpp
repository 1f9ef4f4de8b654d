#include "lib/queries/most_probable_explanation.h"

#include <cmath>
#include <limits>

#include "lib/queries/factor_elimination.h"

namespace samplenet {

Explanation mostProbableExplanation(const Network& network, const Evidence& evidence, const ExactOptions& options) {
    FactorElimination maximum(network, evidence, options);
    maximum.eliminate(FactorElimination::Mode::Max);
    Explanation explanation;
    explanation.states = maximum.decode();
    explanation.logJoint = logJointProbability(network, evidence, explanation.states);

    FactorElimination total(network, evidence, options);
    total.eliminate(FactorElimination::Mode::Sum);
    const double logEvidence = total.logScale() + std::log(total.remainder({}).front());
    explanation.logPosterior = explanation.logJoint - logEvidence;
    return explanation;
}

double logFamilyProbability(const Network& network, const Evidence& evidence, const std::vector<int>& states, int v) {
    const Variable& variable = network.variables[v];
    std::size_t column = 0;
    for (int parent : variable.parents)
        column = column * network.variables[parent].states.size() + static_cast<std::size_t>(states[parent]);
    double logProbability =
        std::log(variable.table[column * variable.states.size() + static_cast<std::size_t>(states[v])]);
    if (const auto soft = evidence.likelihood.find(v); soft != evidence.likelihood.end())
        logProbability += std::log(soft->second[states[v]]);
    return logProbability;
}

double logJointProbability(const Network& network, const Evidence& evidence, const std::vector<int>& states) {
    double logJoint = 0.0;
    for (int v = 0; v < network.size(); ++v) logJoint += logFamilyProbability(network, evidence, states, v);
    return logJoint;
}

}  // namespace samplenet
