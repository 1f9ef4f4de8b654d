#pragma once

#include <vector>

#include "lib/model/network.h"

namespace samplenet {

// Whether every trail between a variable of `a` and one of `b` is blocked
// by `given`: then A and B are independent given C in every distribution
// the graph allows. The three sets must be disjoint and `a` and `b`
// non-empty (std::invalid_argument otherwise, naming a variable at fault).
//
// One pass over the graph from `a` (the reachability search that follows a
// trail up or down and lets it turn at a collider only where the collider
// or one of its descendants is given), so linear in the arcs.
bool dSeparated(const Network& network, const std::vector<int>& a, const std::vector<int>& b,
                const std::vector<int>& given);

}  // namespace samplenet
