#pragma once

#include <vector>

#include "lib/model/network.h"

namespace samplenet {

// The variables that make v independent of every other one when observed:
// its parents, its children and its children's other parents, ascending.
std::vector<int> markovBlanket(const Network& network, int v);

}  // namespace samplenet
