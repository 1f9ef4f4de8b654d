#pragma once

#include <vector>

#include "tests/support/tiny_net.h"

namespace testing_support {

// Small networks with known posteriors (by enumeration), shared by tests.
TinyNet sprinkler();          // loopy: Cloudy -> Sprinkler, Rain -> WetGrass
TinyNet threeLayerLoopy();    // 7 nodes, several loops, 2-3 states
TinyNet chain(int length);    // binary chain 0 -> 1 -> ... -> length-1
TinyNet polytree();           // 6 nodes, no undirected cycle, mixed arities
// A rare fault (prior 1e-4) behind six sensors, with a loop through a
// maintenance root; every sensor alarming (states 1) has probability ~5e-5.
TinyNet rareFault();
std::vector<int> allSensorsAlarm();

}  // namespace testing_support
