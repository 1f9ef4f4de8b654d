#include "lib/inference/network_shape.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace samplenet {

namespace {

// A directed graph is a polytree when its undirected skeleton has no cycle,
// i.e. every arc joins two parts that were not yet connected.
bool isPolytree(const Network& network) {
    std::vector<int> root(network.size());
    std::iota(root.begin(), root.end(), 0);
    auto find = [&root](int v) {
        while (root[v] != v) v = root[v] = root[root[v]];
        return v;
    };
    for (int v = 0; v < network.size(); ++v) {
        for (int p : network.variables[v].parents) {
            const int a = find(v);
            const int b = find(p);
            if (a == b) return false;
            root[a] = b;
        }
    }
    return true;
}

}  // namespace

int longestPathNodeCount(const Network& network) {
    std::vector<int> pathEndingAt(network.size(), 1);
    int longest = 0;
    for (int v : network.topologicalOrder()) {
        for (int p : network.variables[v].parents)
            pathEndingAt[v] = std::max(pathEndingAt[v], pathEndingAt[p] + 1);
        longest = std::max(longest, pathEndingAt[v]);
    }
    return longest;
}

NetworkShape describeShape(const Network& network) {
    NetworkShape shape;
    shape.variables = network.size();
    for (int v = 0; v < network.size(); ++v) {
        const Variable& variable = network.variables[v];
        const int states = variable.stateCount();
        const int inDegree = static_cast<int>(variable.parents.size());
        shape.arcs += inDegree;
        shape.minStates = v == 0 ? states : std::min(shape.minStates, states);
        shape.maxStates = std::max(shape.maxStates, states);
        shape.totalStates += states;
        shape.maxInDegree = std::max(shape.maxInDegree, inDegree);
        const std::size_t tableSize = network.configurationCount(v) * states;
        if (tableSize > shape.largestTable) {
            shape.largestTable = tableSize;
            shape.largestTableVariable = variable.name;
        }
    }
    shape.depth = longestPathNodeCount(network);
    shape.polytree = isPolytree(network);
    return shape;
}

}  // namespace samplenet
