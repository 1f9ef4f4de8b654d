#include "lib/exact/clique_tree.h"

#include <algorithm>
#include <iterator>
#include <numeric>

namespace samplenet {
namespace {

struct CandidateEdge {
    int shared;
    int a;
    int b;
};

class DisjointSets {
public:
    explicit DisjointSets(int count) : leader(count) { std::iota(leader.begin(), leader.end(), 0); }
    int find(int x) {
        while (leader[x] != x) x = leader[x] = leader[leader[x]];
        return x;
    }
    bool unite(int a, int b) {
        a = find(a);
        b = find(b);
        if (a == b) return false;
        leader[b] = a;
        return true;
    }

private:
    std::vector<int> leader;
};

// Every pair of cliques with a variable in common, weighted by how many.
std::vector<CandidateEdge> overlappingPairs(const std::vector<std::vector<int>>& cliques, int variableCount) {
    std::vector<std::vector<int>> cliquesContaining(variableCount);
    for (int c = 0; c < static_cast<int>(cliques.size()); ++c)
        for (int v : cliques[c]) cliquesContaining[v].push_back(c);

    std::vector<CandidateEdge> edges;
    std::vector<int> shared(cliques.size(), 0);
    std::vector<int> partners;
    for (int a = 0; a < static_cast<int>(cliques.size()); ++a) {
        for (int v : cliques[a])
            for (int b : cliquesContaining[v])
                if (b > a && shared[b]++ == 0) partners.push_back(b);
        for (int b : partners) {
            edges.push_back({shared[b], a, b});
            shared[b] = 0;
        }
        partners.clear();
    }
    return edges;
}

}  // namespace

CliqueTree joinCliques(std::vector<std::vector<int>> cliques, int variableCount) {
    const int count = static_cast<int>(cliques.size());
    auto edges = overlappingPairs(cliques, variableCount);
    std::sort(edges.begin(), edges.end(), [](const CandidateEdge& x, const CandidateEdge& y) {
        if (x.shared != y.shared) return x.shared > y.shared;
        return x.a != y.a ? x.a < y.a : x.b < y.b;
    });

    std::vector<std::vector<int>> adjacent(count);
    DisjointSets components(count);
    const auto link = [&](int a, int b) {
        if (!components.unite(a, b)) return;
        adjacent[a].push_back(b);
        adjacent[b].push_back(a);
    };
    for (const auto& edge : edges) link(edge.a, edge.b);
    for (int c = 1; c < count; ++c) link(0, c);

    CliqueTree tree;
    tree.parent.assign(count, -1);
    tree.separators.resize(count);
    if (count > 0) tree.order.push_back(0);
    for (std::size_t next = 0; next < tree.order.size(); ++next) {
        const int c = tree.order[next];
        for (int child : adjacent[c]) {
            if (child == tree.parent[c]) continue;
            tree.parent[child] = c;
            std::set_intersection(cliques[c].begin(), cliques[c].end(), cliques[child].begin(),
                                  cliques[child].end(), std::back_inserter(tree.separators[child]));
            tree.order.push_back(child);
        }
    }
    tree.cliques = std::move(cliques);
    return tree;
}

}  // namespace samplenet
