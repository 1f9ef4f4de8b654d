#include "lib/exact/factor_model.h"

namespace samplenet {

FactorModel FactorModel::of(const Network& network) {
    FactorModel model;
    for (int v = 0; v < network.size(); ++v) {
        const Variable& variable = network.variables[v];
        model.stateCounts.push_back(variable.stateCount());
        std::vector<int> family = variable.parents;
        family.push_back(v);
        model.factors.push_back({std::move(family), variable.table.data()});
    }
    return model;
}

EliminationProblem FactorModel::eliminationProblem() const {
    EliminationProblem problem;
    problem.stateCounts = stateCounts;
    for (const Factor& factor : factors) problem.scopes.push_back(factor.variables);
    return problem;
}

Triangulation triangulate(const Network& network, std::size_t entryBudget, const std::function<void()>& checkpoint) {
    return triangulate(FactorModel::of(network).eliminationProblem(), EliminationCriterion::MinFill, {}, entryBudget,
                       checkpoint);
}

std::vector<std::vector<int>> maximalCliques(const Network& network) { return triangulate(network).cliques; }

}  // namespace samplenet
