#pragma once

#include <vector>

#include "lib/exact/junction_tree.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"
#include "lib/queries/most_probable_explanation.h"

namespace samplenet {

// The jointly most probable states of chosen variables given the evidence,
// every other variable summed out, exactly: the others are summed out of the
// tables, then the chosen ones maximised out in the junction tree's order and
// decoded. An Explanation whose states are -1 but for the chosen variables
// (observed ones keep their state); logJoint is P(their states, e).
//
// Summing first confines the elimination order, so its tables can be far
// larger than the junction tree's: ExactMemoryError above the memory limit.
// Of equally probable answers it takes, for each chosen variable in the
// reverse order of elimination, its lowest such state. Throws EvidenceError
// for impossible evidence, an unknown variable or one named twice.
Explanation maximumAPosteriori(const Network& network, const Evidence& evidence, const std::vector<int>& variables,
                               const ExactOptions& options = {});

}  // namespace samplenet
