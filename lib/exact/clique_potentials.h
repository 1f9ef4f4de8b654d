#pragma once

#include <cstddef>
#include <vector>

namespace samplenet {

// The layout of a table over some variables: one dimension per variable in
// the listed order, the last varying fastest.
struct TableShape {
    std::vector<int> variables;
    std::vector<std::size_t> cards;
    std::vector<std::size_t> strides;
    std::size_t size = 1;

    // stateCounts is indexed by variable.
    TableShape(std::vector<int> tableVariables, const std::vector<int>& stateCounts);
    // Position of a variable among `variables`, or -1.
    int position(int variable) const;
};

// Pairs each entry of a table with the entry of a table over a subset of its
// variables that has the same states, in a single pass with no allocation
// per entry.
class Projection {
public:
    Projection(const TableShape& outer, const TableShape& inner);

    // inner = outer summed over the variables inner lacks.
    void marginalise(const double* outer, double* inner) const;
    // inner = the largest entry of outer over the variables inner lacks
    // (tables of logarithms too).
    void maximise(const double* outer, double* inner) const;
    // outer[i] *= inner[matching entry].
    void multiply(double* outer, const double* inner) const;
    // outer[i] += inner[matching entry]: the product of tables of logarithms.
    void add(double* outer, const double* inner) const;

private:
    template <class Visit>
    void walk(Visit visit) const;

    std::vector<std::size_t> cards;
    std::vector<std::size_t> innerStrides;  // 0 for variables the inner table lacks
    std::size_t outerSize;
    std::size_t innerSize;
};

// Multiplies every entry by weights[state of the variable at `position`].
void weighAlong(double* table, const TableShape& shape, int position, const double* weights);
// sums[s] = total of the entries where the variable at `position` is in state s.
void sumAlong(const double* table, const TableShape& shape, int position, double* sums);
// The state of the variable at `position` whose entry is the largest, the
// other variables in their `states` (indexed as the shape's variables are);
// the lowest such state on ties.
int maximisingState(const double* table, const TableShape& shape, int position, const std::vector<int>& states);

}  // namespace samplenet
