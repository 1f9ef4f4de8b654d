#include "lib/queries/maximum_a_posteriori.h"

#include <cmath>

#include "lib/queries/factor_elimination.h"
#include "lib/queries/joint_posterior.h"

namespace samplenet {

Explanation maximumAPosteriori(const Network& network, const Evidence& evidence, const std::vector<int>& variables,
                               const ExactOptions& options) {
    checkJointVariables(network, variables);
    FactorElimination elimination(network, evidence, options);
    elimination.eliminate(FactorElimination::Mode::Sum, unobservedAmong(evidence, variables));
    elimination.eliminate(FactorElimination::Mode::Max);
    const std::vector<int> decoded = elimination.decode();

    Explanation answer;
    answer.states.assign(network.size(), -1);
    for (int v : variables) answer.states[v] = decoded[v];
    answer.logJoint = elimination.logScale() + std::log(elimination.remainder({}).front());
    FactorElimination total(network, evidence, options);
    total.eliminate(FactorElimination::Mode::Sum);
    answer.logPosterior = answer.logJoint - (total.logScale() + std::log(total.remainder({}).front()));
    return answer;
}

}  // namespace samplenet
