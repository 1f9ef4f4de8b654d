#pragma once

#include <cstddef>
#include <functional>
#include <limits>
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

// Min-fill on the network's moral graph, ties by table size, then index.
Triangulation triangulate(const Network& network,
                          std::size_t entryBudget = std::numeric_limits<std::size_t>::max(),
                          const std::function<void()>& checkpoint = {});

// The maximal cliques of the whole min-fill triangulation.
std::vector<std::vector<int>> maximalCliques(const Network& network);

}  // namespace samplenet
