#pragma once

#include <string>

#include "lib/model/network.h"

namespace samplenet_cli {

// One node as `info --node` prints it: its states, parents, children and
// Markov blanket by name, then its table, one row per configuration of
// its parents (the last parent varying fastest) and one column per state.
std::string describeNode(const samplenet::Network& network, int v);

}  // namespace samplenet_cli
