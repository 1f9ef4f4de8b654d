#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace samplenet {

// One discrete variable and its conditional probability table.
//
// Table layout: one dimension per parent, in `parents` order, then the
// variable's own state, which varies fastest. The distribution of parent
// configuration q is table[q * states.size() ... + states.size() - 1], where
// q = sum over parents k of state_k * (product of the state counts of the
// parents after k).
struct Variable {
    std::string name;
    std::vector<std::string> states;
    std::vector<int> parents;  // indices into Network::variables
    std::vector<double> table;
    // Free-form annotations carried through readers and writers
    // (BIF `property` lines, XMLBIF PROPERTY elements, NET node attributes).
    std::vector<std::string> properties;

    int stateCount() const { return static_cast<int>(states.size()); }
    std::optional<int> stateIndex(const std::string& state) const;
};

// A discrete Bayesian network. Variables keep the order of the file they were
// read from; nothing here requires that order to be topological.
class Network {
public:
    std::string name;
    std::vector<std::string> properties;
    std::vector<Variable> variables;

    int size() const { return static_cast<int>(variables.size()); }
    std::optional<int> indexOf(const std::string& variableName) const;
    // Number of parent configurations of variable v.
    std::size_t configurationCount(int v) const;
    // children[v]: indices of the variables that have v as a parent, ascending.
    std::vector<std::vector<int>> children() const;
    // Parents before children; ties keep file order.
    std::vector<int> topologicalOrder() const;
    // Rebuilds the name index; call after adding or renaming variables.
    void reindex();

private:
    // Variable indices in the order of their names: four bytes a variable,
    // where a map of the names took some seventy.
    std::vector<int> nameIndex;
};

// Checks everything the inference engine relies on and throws
// ModelError with a message naming the variable (and parent configuration)
// at fault: unique names, at least one state, unique state names, valid and
// distinct parents, no cycle (the message lists the variables on it),
// table sizes, no negative or non-finite entries, and columns summing to 1.
// Columns within `tolerance` of 1 are renormalised in place; those off by
// more than 1e-6 (more than the rounding of a table printed to many
// decimals) are counted.
struct Renormalised {
    std::size_t columns = 0;
    double furthestSum = 1.0;  // the sum furthest from 1 among them
    std::string furthestColumn;  // "variable \"X\" for (A=yes)"
};
Renormalised validate(Network& network, double tolerance = 1e-6);
// Whether validate(network) would pass without changing it, for a caller
// that must not copy a large network just to check it. Throws validate's
// errors about names, parents and cycles; false for anything about tables,
// which validate then reports or renormalises.
bool isValidAsIs(const Network& network);

// A number in at most six significant digits, for messages.
std::string shortNumber(double value);

// "(A=yes, B=no)": configuration q of the given parents, by state names.
std::string describeConfiguration(const Network& network, const std::vector<int>& parents, std::size_t q);

}  // namespace samplenet
