#include "lib/exact/triangulation.h"

#include <algorithm>
#include <bit>
#include <cstdint>

#include "lib/exact/saturating_arithmetic.h"

namespace samplenet {
namespace {

// Undirected graph as rows of bits, so that counting the common neighbours
// of two vertices is a few popcounts.
class BitGraph {
public:
    explicit BitGraph(int vertexCount)
        : words((vertexCount + 63) / 64), bits(static_cast<std::size_t>(vertexCount) * words, 0) {}

    void connect(int a, int b) {
        if (a == b) return;
        setBit(a, b, true);
        setBit(b, a, true);
    }
    bool adjacent(int a, int b) const { return (row(a)[b / 64] >> (b % 64)) & 1; }
    void disconnect(int a, int b) {
        setBit(a, b, false);
        setBit(b, a, false);
    }
    std::vector<int> neighbours(int v) const {
        return bitsOf([&](std::size_t w) { return row(v)[w]; });
    }
    std::vector<int> commonNeighbourList(int a, int b) const {
        return bitsOf([&](std::size_t w) { return row(a)[w] & row(b)[w]; });
    }
    int commonNeighbours(int a, int b) const {
        const std::uint64_t* ra = row(a);
        const std::uint64_t* rb = row(b);
        int count = 0;
        for (std::size_t w = 0; w < words; ++w) count += std::popcount(ra[w] & rb[w]);
        return count;
    }

private:
    template <class Word>
    std::vector<int> bitsOf(Word word) const {
        std::vector<int> result;
        for (std::size_t w = 0; w < words; ++w)
            for (std::uint64_t rest = word(w); rest != 0; rest &= rest - 1)
                result.push_back(static_cast<int>(w * 64 + std::countr_zero(rest)));
        return result;
    }
    const std::uint64_t* row(int v) const { return bits.data() + static_cast<std::size_t>(v) * words; }
    void setBit(int from, int to, bool on) {
        std::uint64_t& word = bits[static_cast<std::size_t>(from) * words + to / 64];
        const std::uint64_t mask = std::uint64_t{1} << (to % 64);
        word = on ? (word | mask) : (word & ~mask);
    }

    std::size_t words;
    std::vector<std::uint64_t> bits;
};

BitGraph moralGraph(const Network& network) {
    BitGraph graph(network.size());
    for (int v = 0; v < network.size(); ++v) {
        const auto& parents = network.variables[v].parents;
        for (std::size_t i = 0; i < parents.size(); ++i) {
            graph.connect(v, parents[i]);
            for (std::size_t j = i + 1; j < parents.size(); ++j) graph.connect(parents[i], parents[j]);
        }
    }
    return graph;
}

struct EliminationCost {
    std::size_t fillEdges = 0;
    std::size_t tableEntries = 0;

    bool operator<(const EliminationCost& other) const {
        if (fillEdges != other.fillEdges) return fillEdges < other.fillEdges;
        return tableEntries < other.tableEntries;
    }
};

EliminationCost costOf(const BitGraph& graph, const Network& network, int v) {
    const auto around = graph.neighbours(v);
    // Ordered pairs of neighbours, minus those already adjacent.
    std::size_t missing = around.size() * (around.size() - (around.empty() ? 0 : 1));
    std::size_t entries = network.variables[v].states.size();
    for (int a : around) {
        missing -= graph.commonNeighbours(a, v);
        entries = saturatingMultiply(entries, network.variables[a].states.size());
    }
    return {missing / 2, entries};
}

}  // namespace

std::vector<std::vector<int>> maximalCliques(const Network& network) {
    const int n = network.size();
    BitGraph graph = moralGraph(network);
    std::vector<EliminationCost> cost(n);
    for (int v = 0; v < n; ++v) cost[v] = costOf(graph, network, v);

    std::vector<bool> eliminated(n, false);
    std::vector<std::vector<int>> cliques;
    std::vector<std::vector<int>> cliquesContaining(n);
    for (int step = 0; step < n; ++step) {
        int chosen = -1;
        for (int v = 0; v < n; ++v)
            if (!eliminated[v] && (chosen < 0 || cost[v] < cost[chosen])) chosen = v;

        const auto around = graph.neighbours(chosen);
        std::vector<int> clique = around;
        clique.insert(std::upper_bound(clique.begin(), clique.end(), chosen), chosen);
        // A clique inside an earlier one contains the variable eliminated here,
        // so only the earlier cliques holding that variable can swallow it.
        const bool covered = std::any_of(
            cliquesContaining[chosen].begin(), cliquesContaining[chosen].end(), [&](int earlier) {
                return std::includes(cliques[earlier].begin(), cliques[earlier].end(), clique.begin(), clique.end());
            });
        if (!covered) {
            for (int v : clique) cliquesContaining[v].push_back(static_cast<int>(cliques.size()));
            cliques.push_back(std::move(clique));
        }

        std::vector<std::pair<int, int>> fill;
        for (std::size_t i = 0; i < around.size(); ++i) {
            graph.disconnect(chosen, around[i]);
            for (std::size_t j = i + 1; j < around.size(); ++j)
                if (!graph.adjacent(around[i], around[j])) {
                    graph.connect(around[i], around[j]);
                    fill.emplace_back(around[i], around[j]);
                }
        }
        eliminated[chosen] = true;

        // The neighbours lost `chosen` and gained edges: score them afresh.
        // Any other vertex kept its neighbours, and each new edge between two
        // of them is one fill edge fewer.
        for (int a : around) cost[a] = costOf(graph, network, a);
        for (const auto& [a, b] : fill)
            for (int u : graph.commonNeighbourList(a, b))
                if (!std::binary_search(around.begin(), around.end(), u)) --cost[u].fillEdges;
    }
    return cliques;
}

}  // namespace samplenet
