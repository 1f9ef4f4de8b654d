#pragma once

#include <vector>

#include "lib/model/network.h"

namespace samplenet {

// The maximal cliques of a triangulation of the network's moral graph, each
// as ascending variable indices. Variables are eliminated greedily by fewest
// fill-in edges, ties broken by the smallest table over the variable and its
// neighbours, then by the lower index.
std::vector<std::vector<int>> maximalCliques(const Network& network);

}  // namespace samplenet
