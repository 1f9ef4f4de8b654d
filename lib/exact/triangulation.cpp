#include "lib/exact/triangulation.h"

#include <algorithm>
#include <functional>
#include <queue>

#include "lib/exact/saturating_arithmetic.h"

namespace samplenet {
namespace {

// Sorted neighbour lists: memory grows with the edges, so that networks of
// a hundred thousand variables are planned without an n-by-n matrix.
using Adjacency = std::vector<std::vector<int>>;

Adjacency moralGraph(const Network& network) {
    Adjacency graph(network.size());
    const auto connect = [&](int a, int b) {
        graph[a].push_back(b);
        graph[b].push_back(a);
    };
    for (int v = 0; v < network.size(); ++v) {
        const auto& parents = network.variables[v].parents;
        for (std::size_t i = 0; i < parents.size(); ++i) {
            connect(v, parents[i]);
            for (std::size_t j = i + 1; j < parents.size(); ++j) connect(parents[i], parents[j]);
        }
    }
    for (int v = 0; v < network.size(); ++v) {
        auto& around = graph[v];
        std::sort(around.begin(), around.end());
        around.erase(std::unique(around.begin(), around.end()), around.end());
        std::erase(around, v);
    }
    return graph;
}

// Ordered as the elimination prefers: fewest fill edges, then the smallest
// table, then the lower index.
struct EliminationCost {
    std::size_t fillEdges = 0;
    std::size_t tableEntries = 0;
    int vertex = 0;

    auto operator<=>(const EliminationCost&) const = default;
};

// Greedy min-fill elimination that keeps every vertex's cost current:
// eliminating a vertex rescores only its neighbours, whose neighbourhoods
// changed, and lowers the fill of the vertices that see a new edge between
// two of their neighbours. Stale queue entries are skipped when popped.
class MinFillElimination {
public:
    explicit MinFillElimination(const Network& network)
        : graph(moralGraph(network)), marked(network.size(), 0), lowering(network.size(), 0) {
        for (const auto& variable : network.variables) stateCounts.push_back(variable.states.size());
        for (int v = 0; v < network.size(); ++v) {
            cost.push_back(score(v));
            queue.push(cost[v]);
        }
    }

    // The cheapest vertex still in the graph, with the cost it goes at.
    EliminationCost cheapest() {
        while (queue.top() != cost[queue.top().vertex]) queue.pop();
        return queue.top();
    }

    // Removes the vertex and joins its neighbours; returns them, ascending.
    std::vector<int> eliminate(int v) {
        std::vector<int> around = std::move(graph[v]);
        graph[v] = {};
        cost[v].vertex = -1;  // matches no queue entry any more

        std::vector<std::pair<int, int>> fill;  // grouped by their first vertex
        for (int a : around) joinInto(a, v, around, fill);
        for (int a : around) {
            cost[a] = score(a);
            queue.push(cost[a]);
        }

        // Any other vertex kept its neighbours: each new edge between two of
        // them is one fill edge fewer.
        for (int a : around) marked[a] = kAround;
        std::vector<int> lowered;
        for (std::size_t i = 0; i < fill.size(); ++i) {
            const auto [a, b] = fill[i];
            if (i == 0 || fill[i - 1].first != a) setMarks(a, kNeighbourOfA);
            for (int u : graph[b])
                if (marked[u] == kNeighbourOfA) {
                    --cost[u].fillEdges;
                    if (!lowering[u]) lowered.push_back(u);
                    lowering[u] = 1;
                }
            if (i + 1 == fill.size() || fill[i + 1].first != a) setMarks(a, 0, kNeighbourOfA);
        }
        for (int a : around) marked[a] = 0;
        for (int u : lowered) {
            lowering[u] = 0;
            queue.push(cost[u]);
        }
        return around;
    }

private:
    static constexpr char kAround = 1;
    static constexpr char kNeighbourOfA = 2;

    // Marks the neighbours of `a` that are not marked otherwise; with a
    // `from` mark, clears exactly those again.
    void setMarks(int a, char to, char from = 0) {
        for (int u : graph[a])
            if (marked[u] == from) marked[u] = to;
    }

    // a's neighbours become (a's ∪ the eliminated vertex's) minus both,
    // recording each edge that is new, once, as (smaller, larger).
    void joinInto(int a, int eliminated, const std::vector<int>& around, std::vector<std::pair<int, int>>& fill) {
        merged.clear();
        auto mine = graph[a].begin();
        auto theirs = around.begin();
        while (mine != graph[a].end() || theirs != around.end()) {
            if (theirs == around.end() || (mine != graph[a].end() && *mine < *theirs)) {
                if (*mine != eliminated) merged.push_back(*mine);
                ++mine;
            } else if (mine == graph[a].end() || *theirs < *mine) {
                if (*theirs != a) {
                    merged.push_back(*theirs);
                    if (a < *theirs) fill.emplace_back(a, *theirs);
                }
                ++theirs;
            } else {
                merged.push_back(*mine);
                ++mine;
                ++theirs;
            }
        }
        graph[a].swap(merged);
    }

    EliminationCost score(int v) {
        const auto& around = graph[v];
        for (int a : around) marked[a] = kAround;
        std::size_t adjacentEnds = 0;  // each edge among the neighbours, counted from both ends
        std::size_t entries = stateCounts[v];
        for (int a : around) {
            entries = saturatingMultiply(entries, stateCounts[a]);
            for (int b : graph[a]) adjacentEnds += marked[b] == kAround;
        }
        for (int a : around) marked[a] = 0;
        const std::size_t pairs = around.size() * (around.size() - (around.empty() ? 0 : 1)) / 2;
        return {pairs - adjacentEnds / 2, entries, v};
    }

    Adjacency graph;
    std::vector<std::size_t> stateCounts;
    std::vector<EliminationCost> cost;  // vertex -1 once eliminated
    std::priority_queue<EliminationCost, std::vector<EliminationCost>, std::greater<>> queue;
    std::vector<char> marked;
    std::vector<int> merged;
    std::vector<char> lowering;  // already listed for requeueing in this elimination
};

}  // namespace

Triangulation triangulate(const Network& network, std::size_t entryBudget, const std::function<void()>& checkpoint) {
    const int n = network.size();
    MinFillElimination elimination(network);
    Triangulation result;
    std::vector<std::vector<int>> cliquesContaining(n);
    while (result.variablesEliminated < n && result.tableEntries <= entryBudget) {
        const EliminationCost chosen = elimination.cheapest();
        std::vector<int> clique = elimination.eliminate(chosen.vertex);
        ++result.variablesEliminated;
        if (checkpoint) checkpoint();
        clique.insert(std::upper_bound(clique.begin(), clique.end(), chosen.vertex), chosen.vertex);
        // A clique inside an earlier one contains the variable eliminated here,
        // so only the earlier cliques holding that variable can swallow it.
        auto& cliques = result.cliques;
        const bool covered = std::any_of(
            cliquesContaining[chosen.vertex].begin(), cliquesContaining[chosen.vertex].end(), [&](int earlier) {
                return std::includes(cliques[earlier].begin(), cliques[earlier].end(), clique.begin(), clique.end());
            });
        if (covered) continue;
        for (int v : clique) cliquesContaining[v].push_back(static_cast<int>(cliques.size()));
        cliques.push_back(std::move(clique));
        // The chosen cost's table is this clique's: the variable and its neighbours.
        result.tableEntries = saturatingAdd(result.tableEntries, chosen.tableEntries);
    }
    return result;
}

std::vector<std::vector<int>> maximalCliques(const Network& network) { return triangulate(network).cliques; }

}  // namespace samplenet
