#pragma once

#include <cstddef>
#include <functional>
#include <limits>
#include <vector>

#include "lib/model/network.h"

namespace samplenet {

struct Triangulation {
    std::vector<std::vector<int>> cliques;  // maximal, each as ascending variable indices
    // All of the network's variables, unless the budget stopped the
    // elimination; the cliques are then those found up to that point.
    int variablesEliminated = 0;
    std::size_t tableEntries = 0;  // of the cliques found, saturating
};

// Triangulates the network's moral graph. Variables are eliminated greedily
// by fewest fill-in edges, ties broken by the smallest table over the
// variable and its neighbours, then by the lower index. Elimination stops as
// soon as the cliques' tables together hold more than `entryBudget` entries.
// `checkpoint`, when given, is called after every elimination (it may throw
// to stop).
Triangulation triangulate(const Network& network,
                          std::size_t entryBudget = std::numeric_limits<std::size_t>::max(),
                          const std::function<void()>& checkpoint = {});

// The maximal cliques of the whole triangulation.
std::vector<std::vector<int>> maximalCliques(const Network& network);

}  // namespace samplenet
