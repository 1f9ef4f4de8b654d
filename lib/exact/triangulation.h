#pragma once

#include <cstddef>
#include <functional>
#include <limits>
#include <string>
#include <vector>


namespace samplenet {

// What the greedy elimination minimises first; the other measure breaks ties.
enum class EliminationCriterion {
    MinFill,          // fill-in edges, then the table over the variable and its neighbours
    MinWeight,        // that table, then fill-in edges
    WeightedMinFill,  // fill-in edges weighted by the product of their ends' state counts, then the table
    MinTable,         // the table alone: cheap to score and enough for small regions
};

struct Triangulation {
    std::vector<std::vector<int>> cliques;  // maximal, each as ascending variable indices
    // All of the variables, unless the budget stopped the elimination; the
    // cliques are then those found up to that point.
    int variablesEliminated = 0;
    std::size_t tableEntries = 0;  // of the cliques found, saturating
    std::string order;              // the criterion that found it, as `info` names it
    std::vector<int> eliminated;    // the variables in the order they were eliminated
};

// The graph to triangulate: variables 0..stateCounts.size()-1, joined
// wherever two of them share a scope (the families of a network's moral
// graph, or the variables of a product of tables).
struct EliminationProblem {
    std::vector<std::vector<int>> scopes;
    std::vector<int> stateCounts;
};

// Eliminates variables greedily by the criterion; remaining ties go to the
// lower rank (the variable's index when `ranks` is empty). Elimination stops
// as soon as the cliques' tables together hold more than `entryBudget`
// entries. `checkpoint`, when given, is called after every elimination (it
// may throw to stop).
Triangulation triangulate(const EliminationProblem& problem, EliminationCriterion criterion,
                          const std::vector<int>& ranks = {},
                          std::size_t entryBudget = std::numeric_limits<std::size_t>::max(),
                          const std::function<void()>& checkpoint = {});

// The triangulation with the fewest table entries among min-fill, then,
// unless min-fill's tree is below `entriesPerRestart` entries per variable,
// min-weight and weighted min-fill, then runs of min-fill and weighted
// min-fill with shuffled tie-breaking (from fixed seeds, so the choice is
// repeatable): one run per `entriesPerRestart` entries per variable of the
// best so far, up to `maxRestarts` (all of them when no criterion fits the
// budget). Only trees whose propagation dwarfs a triangulation pay for the
// search. Runs stop once they are worse than the best so far or above the
// budget.
Triangulation cheapestTriangulation(const EliminationProblem& problem, int maxRestarts,
                                    std::size_t entriesPerRestart,
                                    std::size_t entryBudget = std::numeric_limits<std::size_t>::max(),
                                    const std::function<void()>& checkpoint = {});

}  // namespace samplenet
