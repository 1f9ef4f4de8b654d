#include "lib/exact/relevant_factors.h"

#include <algorithm>
#include <cmath>

#include "lib/exact/clique_potentials.h"
#include "lib/model/errors.h"

namespace samplenet {
namespace {

// The single state a weight vector allows, or -1 when it allows several.
int singleState(const std::vector<double>& weights) {
    int state = -1;
    for (int s = 0; s < static_cast<int>(weights.size()); ++s) {
        if (weights[s] == 0.0) continue;
        if (state >= 0) return -1;
        state = s;
    }
    return state;
}

// The variables that are queried or observed, and their ancestors.
std::vector<char> ancestralSet(const Network& network, const std::vector<char>& seeds) {
    std::vector<char> kept(seeds);
    std::vector<int> pending;
    for (int v = 0; v < network.size(); ++v)
        if (kept[v]) pending.push_back(v);
    while (!pending.empty()) {
        const int v = pending.back();
        pending.pop_back();
        for (int p : network.variables[v].parents)
            if (!kept[p]) {
                kept[p] = 1;
                pending.push_back(p);
            }
    }
    return kept;
}

// The entries of `table` (laid out by `shape`) where every observed
// variable is in its state, laid out over the others in the same order.
std::vector<double> slice(const double* table, const TableShape& shape, const std::vector<int>& observed) {
    std::size_t base = 0;
    std::vector<std::size_t> cards, strides;
    std::size_t size = 1;
    for (std::size_t d = 0; d < shape.variables.size(); ++d) {
        const int state = observed[shape.variables[d]];
        if (state >= 0) {
            base += static_cast<std::size_t>(state) * shape.strides[d];
        } else {
            cards.push_back(shape.cards[d]);
            strides.push_back(shape.strides[d]);
            size *= shape.cards[d];
        }
    }
    std::vector<double> result(size);
    std::vector<std::size_t> counter(cards.size(), 0);
    std::size_t at = base;
    for (std::size_t i = 0; i < size; ++i) {
        result[i] = table[at];
        // Odometer over the kept dimensions, the last fastest.
        for (std::size_t d = cards.size(); d-- > 0;) {
            at += strides[d];
            if (++counter[d] < cards[d]) break;
            counter[d] = 0;
            at -= strides[d] * cards[d];
        }
    }
    return result;
}

}  // namespace

RelevantFactors::RelevantFactors(const Network& network, const EvidenceWeights& evidence,
                                 const std::vector<char>& wanted)
    : observed(network.size(), -1) {
    const int n = network.size();
    std::vector<char> seeds = wanted.empty() ? std::vector<char>(n, 1) : wanted;
    for (int v = 0; v < n; ++v) {
        if (evidence[v].empty()) continue;
        seeds[v] = 1;
        observed[v] = singleState(evidence[v]);
        if (observed[v] >= 0) logScale += std::log(evidence[v][observed[v]]);
    }
    const std::vector<char> kept = ancestralSet(network, seeds);

    std::vector<int> local(n, -1);
    for (int v = 0; v < n; ++v) {
        if (!kept[v] || observed[v] >= 0) continue;
        local[v] = static_cast<int>(original.size());
        original.push_back(v);
        model.stateCounts.push_back(network.variables[v].stateCount());
        weights.push_back(evidence[v]);
        queried.push_back(wanted.empty() || wanted[v]);
    }

    std::vector<int> stateCounts;
    for (const Variable& variable : network.variables) stateCounts.push_back(variable.stateCount());
    for (int v = 0; v < n; ++v) {
        if (!kept[v]) continue;
        const Variable& variable = network.variables[v];
        std::vector<int> family = variable.parents;
        family.push_back(v);
        Factor factor{{}, variable.table.data()};
        for (int u : family)
            if (local[u] >= 0) factor.variables.push_back(local[u]);
        if (factor.variables.size() < family.size()) {
            slices.push_back(slice(variable.table.data(), TableShape(family, stateCounts), observed));
            factor.values = slices.back().data();
        }
        if (!factor.variables.empty()) {
            model.factors.push_back(std::move(factor));
            continue;
        }
        // Every variable of the table is observed: it is a constant.
        if (!(factor.values[0] > 0.0)) throw ImpossibleEvidenceError();
        logScale += std::log(factor.values[0]);
    }
}

}  // namespace samplenet
