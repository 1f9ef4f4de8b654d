#pragma once

#include <cstddef>
#include <string>

#include "lib/model/network.h"

namespace samplenet {

// Structural figures of a network, as shown to users and used to size runs.
struct NetworkShape {
    int variables = 0;
    int arcs = 0;
    int minStates = 0;
    int maxStates = 0;
    long totalStates = 0;
    std::size_t largestTable = 0;  // entries, states included
    std::string largestTableVariable;
    int maxInDegree = 0;
    int depth = 0;  // see longestPathNodeCount
    bool polytree = true;
};

// Number of variables on the longest directed path (1 for a network without
// arcs). Evidence needs that many propagation steps to reach every variable.
int longestPathNodeCount(const Network& network);

NetworkShape describeShape(const Network& network);

}  // namespace samplenet
