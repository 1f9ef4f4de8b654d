#include "lib/exact/triangulation.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <queue>
#include <random>

#include "lib/exact/saturating_arithmetic.h"

namespace samplenet {
namespace {

// Sorted neighbour lists: memory grows with the edges, so that networks of
// a hundred thousand variables are planned without an n-by-n matrix.
using Adjacency = std::vector<std::vector<int>>;

Adjacency graphOf(const EliminationProblem& problem) {
    Adjacency graph(problem.stateCounts.size());
    for (const auto& scope : problem.scopes)
        for (std::size_t i = 0; i < scope.size(); ++i)
            for (std::size_t j = i + 1; j < scope.size(); ++j) {
                graph[scope[i]].push_back(scope[j]);
                graph[scope[j]].push_back(scope[i]);
            }
    for (int v = 0; v < static_cast<int>(graph.size()); ++v) {
        auto& around = graph[v];
        std::sort(around.begin(), around.end());
        around.erase(std::unique(around.begin(), around.end()), around.end());
        std::erase(around, v);
    }
    return graph;
}

// A queue entry: the criterion's two measures in the order it compares
// them, then the tie-breaking rank.
struct EliminationKey {
    std::size_t first = 0;
    std::size_t second = 0;
    int rank = 0;
    int vertex = 0;

    auto operator<=>(const EliminationKey&) const = default;
};

// Greedy elimination that keeps every vertex's cost current: eliminating a
// vertex rescores only its neighbours, whose neighbourhoods changed, and
// lowers the fill of the vertices that see a new edge between two of their
// neighbours. Stale queue entries are skipped when popped.
class GreedyElimination {
public:
    GreedyElimination(const EliminationProblem& problem, EliminationCriterion criterion, const std::vector<int>& ranks)
        : graph(graphOf(problem)),
          criterion(criterion),
          ranks(ranks),
          fill(graph.size()),
          entries(graph.size()),
          marked(graph.size(), 0),
          lowering(graph.size(), 0),
          gone(graph.size(), 0) {
        for (int count : problem.stateCounts) stateCounts.push_back(static_cast<std::size_t>(count));
        for (int v = 0; v < static_cast<int>(graph.size()); ++v) {
            score(v);
            queue.push(key(v));
        }
    }

    // The cheapest vertex still in the graph, and the table its clique holds.
    std::pair<int, std::size_t> cheapest() {
        while (gone[queue.top().vertex] || queue.top() != key(queue.top().vertex)) queue.pop();
        const int v = queue.top().vertex;
        return {v, entries[v]};
    }

    // Removes the vertex and joins its neighbours; returns them, ascending.
    std::vector<int> eliminate(int v) {
        std::vector<int> around = std::move(graph[v]);
        graph[v] = {};
        gone[v] = 1;

        std::vector<std::pair<int, int>> added;  // grouped by their first vertex
        for (int a : around) joinInto(a, v, around, added);
        for (int a : around) {
            score(a);
            queue.push(key(a));
        }

        // Any other vertex kept its neighbours: each new edge between two of
        // them is one fill edge fewer.
        for (int a : around) marked[a] = kAround;
        std::vector<int> lowered;
        for (std::size_t i = 0; i < added.size(); ++i) {
            const auto [a, b] = added[i];
            if (i == 0 || added[i - 1].first != a) setMarks(a, kNeighbourOfA);
            for (int u : graph[b])
                if (marked[u] == kNeighbourOfA) {
                    fill[u] -= edgeWeight(a, b);
                    if (!lowering[u]) lowered.push_back(u);
                    lowering[u] = 1;
                }
            if (i + 1 == added.size() || added[i + 1].first != a) setMarks(a, 0, kNeighbourOfA);
        }
        for (int a : around) marked[a] = 0;
        for (int u : lowered) {
            lowering[u] = 0;
            queue.push(key(u));
        }
        return around;
    }

private:
    static constexpr char kAround = 1;
    static constexpr char kNeighbourOfA = 2;

    EliminationKey key(int v) const {
        const int rank = ranks.empty() ? v : ranks[v];
        if (criterion == EliminationCriterion::MinWeight) return {entries[v], fill[v], rank, v};
        if (criterion == EliminationCriterion::MinTable) return {entries[v], 0, rank, v};
        return {fill[v], entries[v], rank, v};
    }

    // What a fill edge costs is the product of its ends' weights.
    std::size_t vertexWeight(int a) const {
        return criterion == EliminationCriterion::WeightedMinFill ? stateCounts[a] : 1;
    }
    std::size_t edgeWeight(int a, int b) const { return vertexWeight(a) * vertexWeight(b); }

    // Marks the neighbours of `a` that are not marked otherwise; with a
    // `from` mark, clears exactly those again.
    void setMarks(int a, char to, char from = 0) {
        for (int u : graph[a])
            if (marked[u] == from) marked[u] = to;
    }

    // a's neighbours become (a's ∪ the eliminated vertex's) minus both,
    // recording each edge that is new, once, as (smaller, larger).
    void joinInto(int a, int eliminated, const std::vector<int>& around, std::vector<std::pair<int, int>>& added) {
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
                    if (a < *theirs) added.emplace_back(a, *theirs);
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

    // The fill and table of eliminating v now.
    void score(int v) {
        const auto& around = graph[v];
        for (int a : around) marked[a] = kAround;
        std::size_t presentEnds = 0;  // each edge among the neighbours, counted from both ends
        std::size_t weights = 0;  // of the neighbours, and of their squares: all pairs' weight from the two
        std::size_t squares = 0;
        std::size_t table = stateCounts[v];
        for (int a : around) {
            table = saturatingMultiply(table, stateCounts[a]);
            const std::size_t weight = vertexWeight(a);
            weights += weight;
            squares += weight * weight;
            for (int b : graph[a])
                if (marked[b] == kAround) presentEnds += edgeWeight(a, b);
        }
        for (int a : around) marked[a] = 0;
        fill[v] = (weights * weights - squares) / 2 - presentEnds / 2;
        entries[v] = table;
    }

    Adjacency graph;
    EliminationCriterion criterion;
    const std::vector<int>& ranks;
    std::vector<std::size_t> stateCounts;
    std::vector<std::size_t> fill;
    std::vector<std::size_t> entries;
    std::priority_queue<EliminationKey, std::vector<EliminationKey>, std::greater<>> queue;
    std::vector<char> marked;
    std::vector<int> merged;
    std::vector<char> lowering;  // already listed for requeueing in this elimination
    std::vector<char> gone;
};

}  // namespace

Triangulation triangulate(const EliminationProblem& problem, EliminationCriterion criterion,
                          const std::vector<int>& ranks, std::size_t entryBudget,
                          const std::function<void()>& checkpoint) {
    const int n = static_cast<int>(problem.stateCounts.size());
    GreedyElimination elimination(problem, criterion, ranks);
    Triangulation result;
    constexpr const char* names[] = {"min-fill", "min-weight", "weighted min-fill", "min-table"};
    result.order = std::string(names[static_cast<int>(criterion)]) + (ranks.empty() ? "" : ", shuffled ties");
    std::vector<std::vector<int>> cliquesContaining(n);
    while (result.variablesEliminated < n && result.tableEntries <= entryBudget) {
        const auto [chosen, tableEntries] = elimination.cheapest();
        std::vector<int> clique = elimination.eliminate(chosen);
        ++result.variablesEliminated;
        result.eliminated.push_back(chosen);
        if (checkpoint) checkpoint();
        clique.insert(std::upper_bound(clique.begin(), clique.end(), chosen), chosen);
        // A clique inside an earlier one contains the variable eliminated here,
        // so only the earlier cliques holding that variable can swallow it.
        auto& cliques = result.cliques;
        const bool covered =
            std::any_of(cliquesContaining[chosen].begin(), cliquesContaining[chosen].end(), [&](int earlier) {
                return std::includes(cliques[earlier].begin(), cliques[earlier].end(), clique.begin(), clique.end());
            });
        if (covered) continue;
        for (int v : clique) cliquesContaining[v].push_back(static_cast<int>(cliques.size()));
        cliques.push_back(std::move(clique));
        // The chosen table is this clique's: the variable and its neighbours.
        result.tableEntries = saturatingAdd(result.tableEntries, tableEntries);
    }
    return result;
}

Triangulation cheapestTriangulation(const EliminationProblem& problem, int maxRestarts, std::size_t entriesPerRestart,
                                    std::size_t entryBudget, const std::function<void()>& checkpoint) {
    Triangulation best;
    bool found = false;
    const auto attempt = [&](EliminationCriterion criterion, const std::vector<int>& ranks) {
        // A run that passes the best so far is abandoned there.
        const std::size_t budget = found ? std::min(entryBudget, best.tableEntries) : entryBudget;
        Triangulation candidate = triangulate(problem, criterion, ranks, budget, checkpoint);
        const bool complete = candidate.variablesEliminated == static_cast<int>(problem.stateCounts.size());
        if (complete && (!found || candidate.tableEntries < best.tableEntries)) {
            best = std::move(candidate);
            found = true;
        } else if (!found && candidate.variablesEliminated > best.variablesEliminated) {
            // Until one run completes, the one that got furthest says most.
            best = std::move(candidate);
        }
    };
    const auto perVariable = [&] { return best.tableEntries / std::max<std::size_t>(1, problem.stateCounts.size()); };
    attempt(EliminationCriterion::MinFill, {});
    // A small tree propagates in less time than another triangulation takes.
    if (found && perVariable() < entriesPerRestart) return best;
    attempt(EliminationCriterion::MinWeight, {});
    attempt(EliminationCriterion::WeightedMinFill, {});
    // When no criterion fits the budget, shuffled ties still may: on
    // diagnosis networks they found trees a fifth of the size.
    const int restarts =
        found ? static_cast<int>(std::min<std::size_t>(maxRestarts, perVariable() / entriesPerRestart)) : maxRestarts;
    std::mt19937 generator(20241);
    std::vector<int> ranks(problem.stateCounts.size());
    for (int r = 0; r < restarts; ++r) {
        std::iota(ranks.begin(), ranks.end(), 0);
        for (std::size_t i = ranks.size(); i > 1; --i) std::swap(ranks[i - 1], ranks[generator() % i]);
        attempt(r % 2 == 0 ? EliminationCriterion::MinFill : EliminationCriterion::WeightedMinFill, ranks);
    }
    return best;
}

}  // namespace samplenet
