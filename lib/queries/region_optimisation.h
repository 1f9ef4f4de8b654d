#pragma once

#include <cstddef>
#include <vector>

#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet {

// A large move for the local search of explanations: a connected region of
// unobserved variables is set to its jointly most probable states while
// every other variable keeps its state. The factors that hold a region
// variable (its family and its children's families), restricted to the
// others' states, are maximised out by max-product elimination in log space,
// so the move is exact over the region and escapes optima that changing a
// few variables at a time cannot.
class RegionOptimisation {
public:
    RegionOptimisation(const Network& network, const Evidence& evidence);

    // Unobserved variables around `centre`, breadth first over the moral
    // graph (parents, children, children's other parents): at most
    // `maxVariables` of them, fewer where the elimination of the region
    // would make a table of more than `maxEntries` entries. Empty for an
    // observed centre.
    std::vector<int> regionAround(int centre, int maxVariables, std::size_t maxEntries) const;

    // The largest table the elimination of `region` makes, in entries.
    std::size_t largestTable(const std::vector<int>& region) const;

    // Sets the region's unobserved variables to their most probable joint
    // states given every other variable's state in `states`; changes
    // nothing unless that raises P(states, evidence). Returns the variables
    // changed. Its time and memory grow with largestTable(region).
    std::vector<int> optimise(std::vector<int>& states, const std::vector<int>& region) const;

private:
    struct Plan;
    Plan plan(const std::vector<int>& region) const;

    const Network& network;
    const Evidence& evidence;
    std::vector<std::vector<int>> children;
    std::vector<std::vector<int>> neighbours;  // in the moral graph
};

}  // namespace samplenet
