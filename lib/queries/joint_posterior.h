#pragma once

#include <vector>

#include "lib/exact/junction_tree.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet {

// P(variables | evidence) as one table: one dimension per variable in the
// order given, the last varying fastest.
struct JointPosterior {
    std::vector<int> variables;
    std::vector<double> probabilities;
};

// The exact joint posterior of a few variables, by eliminating all the
// others. Observed variables may be among them (their other states get 0).
// Throws EvidenceError for impossible evidence or a variable named twice,
// and ExactMemoryError when the tables would exceed the memory limit.
JointPosterior exactJointPosterior(const Network& network, const Evidence& evidence,
                                   const std::vector<int>& variables, const ExactOptions& options = {});

}  // namespace samplenet
