#include "lib/graph/d_separation.h"

#include <stdexcept>

namespace samplenet {

namespace {

// Rejects overlapping or empty sets, where independence is not a question
// of the graph.
void checkSets(const Network& network, const std::vector<int>& a, const std::vector<int>& b,
               const std::vector<int>& given) {
    if (a.empty() || b.empty()) throw std::invalid_argument("d-separation needs a node on either side");
    std::vector<int> set(network.size(), -1);  // which of a, b, given holds each variable
    const std::vector<int>* sets[] = {&a, &b, &given};
    for (int s = 0; s < 3; ++s)
        for (int v : *sets[s]) {
            if (v < 0 || v >= network.size()) throw std::invalid_argument("no variable number " + std::to_string(v));
            if (set[v] >= 0 && set[v] != s)
                throw std::invalid_argument("node \"" + network.variables[v].name +
                                            "\" is in two of the sets; they must be disjoint");
            set[v] = s;
        }
}

}  // namespace

bool dSeparated(const Network& network, const std::vector<int>& a, const std::vector<int>& b,
                const std::vector<int>& given) {
    checkSets(network, a, b, given);
    const int n = network.size();
    const std::vector<std::vector<int>> children = network.children();
    std::vector<char> isGiven(n, 0), isTarget(n, 0);
    for (int v : given) isGiven[v] = 1;
    for (int v : b) isTarget[v] = 1;

    // A collider passes a trail on when it or a descendant is given: that
    // is, when it is among the given variables' ancestors (themselves included).
    std::vector<char> givenOrAncestor(n, 0);
    std::vector<int> stack(given.begin(), given.end());
    while (!stack.empty()) {
        const int v = stack.back();
        stack.pop_back();
        if (givenOrAncestor[v]) continue;
        givenOrAncestor[v] = 1;
        for (int p : network.variables[v].parents) stack.push_back(p);
    }

    // A trail reaches a variable either from a child (going up) or from a
    // parent (going down); each variable is entered at most once each way.
    enum Direction { Up = 0, Down = 1 };
    std::vector<char> visited(2 * static_cast<std::size_t>(n), 0);
    std::vector<std::pair<int, Direction>> pending;
    for (int v : a) pending.push_back({v, Up});
    while (!pending.empty()) {
        const auto [v, direction] = pending.back();
        pending.pop_back();
        char& seen = visited[2 * static_cast<std::size_t>(v) + direction];
        if (seen) continue;
        seen = 1;
        if (isTarget[v]) return false;  // never given: the sets are disjoint
        if (direction == Up && !isGiven[v]) {
            for (int p : network.variables[v].parents) pending.push_back({p, Up});
            for (int c : children[v]) pending.push_back({c, Down});
        } else if (direction == Down) {
            if (!isGiven[v])
                for (int c : children[v]) pending.push_back({c, Down});
            if (givenOrAncestor[v])
                for (int p : network.variables[v].parents) pending.push_back({p, Up});
        }
    }
    return true;
}

}  // namespace samplenet
