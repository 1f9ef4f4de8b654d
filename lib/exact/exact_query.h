#pragma once

#include <vector>

#include "lib/exact/junction_tree.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet {

// Exact posteriors of the queried variables (of all when `queried` is
// empty; the others are left empty) and the probability of the evidence,
// from a junction tree over only what the query needs: see
// RelevantFactors. The memory limit applies to that tree. Throws as
// JunctionTree does, and std::invalid_argument for a queried index out of
// range.
ExactResult inferExactly(const Network& network, const Evidence& evidence, const std::vector<int>& queried,
                         const ExactOptions& options = {});

// The cliques of the tree that inferExactly would build for this query,
// measured without allocating them. Throws as inferExactly does for bad
// queries and for evidence that empties a table.
CliqueStatistics estimateQueryCliques(const Network& network, const Evidence& evidence,
                                      const std::vector<int>& queried, const ExactOptions& options = {});

}  // namespace samplenet
