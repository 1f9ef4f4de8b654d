#include "lib/model/network.h"

#include <algorithm>
#include <numeric>
#include <queue>

namespace samplenet {

std::optional<int> Variable::stateIndex(const std::string& state) const {
    const auto it = std::find(states.begin(), states.end(), state);
    if (it == states.end()) return std::nullopt;
    return static_cast<int>(it - states.begin());
}

std::optional<int> Network::indexOf(const std::string& variableName) const {
    const auto it = std::lower_bound(nameIndex.begin(), nameIndex.end(), variableName,
                                     [this](int v, const std::string& name) { return variables[v].name < name; });
    if (it == nameIndex.end() || variables[*it].name != variableName) return std::nullopt;
    return *it;
}

std::size_t Network::configurationCount(int v) const {
    std::size_t count = 1;
    for (int p : variables[v].parents) count *= variables[p].states.size();
    return count;
}

std::vector<std::vector<int>> Network::children() const {
    std::vector<std::vector<int>> result(variables.size());
    for (int v = 0; v < size(); ++v)
        for (int p : variables[v].parents) result[p].push_back(v);
    return result;
}

std::vector<int> Network::topologicalOrder() const {
    std::vector<int> order(variables.size());
    // Most files list parents first; their own order is then the answer,
    // found in one pass over the parents.
    bool parentsFirst = true;
    for (int v = 0; v < size() && parentsFirst; ++v)
        for (int p : variables[v].parents) parentsFirst = parentsFirst && p < v;
    if (parentsFirst) {
        std::iota(order.begin(), order.end(), 0);
        return order;
    }
    // Kahn's algorithm with a min-heap, so that independent variables keep
    // their file order. Variables on a cycle are left out.
    std::vector<int> pendingParents(variables.size());
    for (int v = 0; v < size(); ++v) pendingParents[v] = static_cast<int>(variables[v].parents.size());
    const auto childLists = children();
    std::priority_queue<int, std::vector<int>, std::greater<int>> ready;
    for (int v = 0; v < size(); ++v)
        if (pendingParents[v] == 0) ready.push(v);
    order.clear();
    while (!ready.empty()) {
        const int v = ready.top();
        ready.pop();
        order.push_back(v);
        for (int c : childLists[v])
            if (--pendingParents[c] == 0) ready.push(c);
    }
    return order;
}

void Network::reindex() {
    nameIndex.resize(variables.size());
    std::iota(nameIndex.begin(), nameIndex.end(), 0);
    // Stable: of two variables of one name, the first is found.
    std::stable_sort(nameIndex.begin(), nameIndex.end(),
                     [this](int a, int b) { return variables[a].name < variables[b].name; });
}

}  // namespace samplenet
