#pragma once

#include "lib/model/network.h"
#include "tests/support/tiny_net.h"

namespace testing_support {

// The same network as a model Network: variable v is named "V<v>" and its
// states "s0", "s1", ...
samplenet::Network toNetwork(const TinyNet& net);

}  // namespace testing_support
