#pragma once

#include <vector>

namespace samplenet {

// Maximal cliques joined into a tree in which every variable's cliques form a
// connected subtree, rooted at clique 0.
struct CliqueTree {
    std::vector<std::vector<int>> cliques;     // ascending variable indices
    std::vector<int> parent;                   // -1 for the root
    std::vector<std::vector<int>> separators;  // cliques[c] ∩ cliques[parent[c]]; empty for the root
    std::vector<int> order;                    // root first, every clique after its parent
};

// Joins the maximal cliques of a chordal graph by a maximum spanning tree on
// separator sizes. Cliques sharing no variable (separate components of the
// network) hang off the root by empty separators.
CliqueTree joinCliques(std::vector<std::vector<int>> cliques, int variableCount);

}  // namespace samplenet
