#pragma once

#include "lib/inference/inference.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"
#include "lib/queries/most_probable_explanation.h"

namespace samplenet {

// An explanation of the evidence for networks too large for the exact one:
// the most probable of the samples an EPIS-BN or AIS-BN run draws (as
// `options` say), then, with `localSearch`, changed a few variables at a
// time while P(states, evidence) rises, shaken, and set a region at a time
// to the region's most probable states. Its probability is a lower bound on
// the most probable explanation's. Throws what infer() throws, and
// std::invalid_argument for an algorithm that does not sample.
Explanation approximateExplanation(const Network& network, const Evidence& evidence, InferenceOptions options,
                                   bool localSearch = true);

// Changes one unobserved variable at a time to the state that raises
// P(states, evidence) most, sweeping the variables in order until no change
// raises it. Returns the number of changes made.
int improveLocally(const Network& network, const Evidence& evidence, std::vector<int>& states);

}  // namespace samplenet
