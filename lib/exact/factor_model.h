#pragma once

#include <vector>

#include "lib/exact/triangulation.h"
#include "lib/model/network.h"

namespace samplenet {

// A table over some variables: one dimension per variable in the listed
// order, the last varying fastest. The values belong to whoever built it.
struct Factor {
    std::vector<int> variables;
    const double* values;
};

// A product of tables over variables 0..stateCounts.size()-1: what a
// junction tree multiplies into its cliques.
struct FactorModel {
    std::vector<int> stateCounts;
    std::vector<Factor> factors;

    // Each variable's table, over its parents and itself; the network must
    // outlive the model.
    static FactorModel of(const Network& network);
    // The graph joining the variables of each factor.
    EliminationProblem eliminationProblem() const;
};

}  // namespace samplenet
