#pragma once

#include <vector>

#include "lib/exact/junction_tree.h"
#include "lib/inference/inference.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet {

// The exact joint posterior of a few variables, by eliminating all the
// others. Observed variables may be among them (their other states get 0).
// Throws EvidenceError for impossible evidence or a variable named twice,
// and ExactMemoryError when the tables would exceed the memory limit.
JointPosterior exactJointPosterior(const Network& network, const Evidence& evidence,
                                   const std::vector<int>& variables, const ExactOptions& options = {});

}  // namespace samplenet
