#include "lib/exact/clique_potentials.h"

#include <algorithm>
#include <limits>

namespace samplenet {

TableShape::TableShape(std::vector<int> tableVariables, const std::vector<int>& stateCounts)
    : variables(std::move(tableVariables)), cards(variables.size()), strides(variables.size()) {
    for (std::size_t d = variables.size(); d-- > 0;) {
        cards[d] = static_cast<std::size_t>(stateCounts[variables[d]]);
        strides[d] = size;
        size *= cards[d];
    }
}

int TableShape::position(int variable) const {
    const auto it = std::find(variables.begin(), variables.end(), variable);
    return it == variables.end() ? -1 : static_cast<int>(it - variables.begin());
}

Projection::Projection(const TableShape& outer, const TableShape& inner)
    : cards(outer.cards), innerStrides(outer.variables.size(), 0), outerSize(outer.size), innerSize(inner.size) {
    for (std::size_t d = 0; d < outer.variables.size(); ++d) {
        const int p = inner.position(outer.variables[d]);
        if (p >= 0) innerStrides[d] = inner.strides[p];
    }
}

template <class Visit>
void Projection::walk(Visit visit) const {
    if (outerSize == 0) return;
    if (cards.empty()) {
        visit(0, 0);
        return;
    }
    // An odometer over all dimensions but the fastest, which is a plain loop.
    const std::size_t last = cards.size() - 1;
    std::vector<std::size_t> counter(last, 0);
    std::size_t inner = 0;
    for (std::size_t outer = 0; outer < outerSize; outer += cards[last]) {
        for (std::size_t s = 0; s < cards[last]; ++s) visit(outer + s, inner + s * innerStrides[last]);
        for (std::size_t d = last; d-- > 0;) {
            inner += innerStrides[d];
            if (++counter[d] < cards[d]) break;
            counter[d] = 0;
            inner -= innerStrides[d] * cards[d];
        }
    }
}

void Projection::marginalise(const double* outer, double* inner) const {
    std::fill(inner, inner + innerSize, 0.0);
    walk([&](std::size_t o, std::size_t i) { inner[i] += outer[o]; });
}

void Projection::maximise(const double* outer, double* inner) const {
    std::fill(inner, inner + innerSize, -std::numeric_limits<double>::infinity());
    walk([&](std::size_t o, std::size_t i) { inner[i] = std::max(inner[i], outer[o]); });
}

void Projection::multiply(double* outer, const double* inner) const {
    walk([&](std::size_t o, std::size_t i) { outer[o] *= inner[i]; });
}

void Projection::add(double* outer, const double* inner) const {
    walk([&](std::size_t o, std::size_t i) { outer[o] += inner[i]; });
}

namespace {

// Calls visit(entry, state of the variable at `position`) for every entry.
template <class Visit>
void forEachAlong(const TableShape& shape, int position, Visit visit) {
    const std::size_t stride = shape.strides[position];
    const std::size_t card = shape.cards[position];
    for (std::size_t block = 0; block < shape.size; block += stride * card)
        for (std::size_t s = 0; s < card; ++s)
            for (std::size_t i = 0; i < stride; ++i) visit(block + s * stride + i, s);
}

}  // namespace

void weighAlong(double* table, const TableShape& shape, int position, const double* weights) {
    forEachAlong(shape, position, [&](std::size_t entry, std::size_t s) { table[entry] *= weights[s]; });
}

void sumAlong(const double* table, const TableShape& shape, int position, double* sums) {
    std::fill(sums, sums + shape.cards[position], 0.0);
    forEachAlong(shape, position, [&](std::size_t entry, std::size_t s) { sums[s] += table[entry]; });
}

int maximisingState(const double* table, const TableShape& shape, int position, const std::vector<int>& states) {
    std::size_t base = 0;
    for (std::size_t d = 0; d < shape.variables.size(); ++d)
        if (static_cast<int>(d) != position) base += static_cast<std::size_t>(states[shape.variables[d]]) * shape.strides[d];
    const std::size_t stride = shape.strides[position];
    int best = 0;
    for (int s = 1; s < static_cast<int>(shape.cards[position]); ++s)
        if (table[base + s * stride] > table[base + best * stride]) best = s;
    return best;
}

}  // namespace samplenet
