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
// Throws EvidenceError for a variable out of range or named twice.
void checkJointVariables(const Network& network, const std::vector<int>& variables);

// The variables without hard evidence, in the order given: those whose
// states an elimination over the sliced tables keeps.
std::vector<int> unobservedAmong(const Evidence& evidence, const std::vector<int>& variables);

JointPosterior exactJointPosterior(const Network& network, const Evidence& evidence,
                                   const std::vector<int>& variables, const ExactOptions& options = {});

}  // namespace samplenet
