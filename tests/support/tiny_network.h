#pragma once

#include "lib/model/evidence.h"
#include "lib/model/network.h"
#include "tests/support/tiny_net.h"

namespace testing_support {

// The same network as a model Network: variable v is named "V<v>" and its
// states "s0", "s1", ...
samplenet::Network toNetwork(const TinyNet& net);

// `evidence` with each variable whose entry in `states` is not -1 observed
// in that state.
samplenet::Evidence withHardEvidence(const std::vector<int>& states, samplenet::Evidence evidence = {});

}  // namespace testing_support
