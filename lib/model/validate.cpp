#include <charconv>
#include <cmath>
#include <cstddef>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "lib/model/errors.h"
#include "lib/model/network.h"

namespace samplenet {
namespace {

// Column sums off by less than this are floating-point noise: leaving them
// alone keeps validation idempotent, so tables written and read back stay
// bit-identical.
constexpr double kRoundingSlack = 1e-12;
// Sums off by no more than this come from tables printed with many decimals;
// they are rescaled without being counted as remarkable.
constexpr double kUnremarkable = 1e-6;

[[noreturn]] void fail(const Variable& variable, const std::string& what) {
    throw ModelError("variable \"" + variable.name + "\": " + what);
}

}  // namespace

std::string shortNumber(double value) {
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 6);
    return std::string(buffer, result.ptr);
}

namespace {

void checkNamesAndStates(const Network& network) {
    std::set<std::string> names;
    for (const Variable& variable : network.variables) {
        if (!names.insert(variable.name).second) throw ModelError("duplicate variable name \"" + variable.name + "\"");
        if (variable.states.empty()) fail(variable, "has no states");
        std::set<std::string> states;
        for (const std::string& state : variable.states)
            if (!states.insert(state).second) fail(variable, "duplicate state \"" + state + "\"");
    }
}

void checkParentIndices(const Network& network) {
    for (const Variable& variable : network.variables) {
        std::set<int> seen;
        for (int parent : variable.parents) {
            if (parent < 0 || parent >= network.size())
                fail(variable, "parent index " + std::to_string(parent) + " out of range");
            if (!seen.insert(parent).second)
                fail(variable, "parent \"" + network.variables[parent].name + "\" listed twice");
        }
    }
}

// Depth-first search along parent -> child edges; a back edge closes a cycle,
// which is read off the current path.
void checkAcyclic(const Network& network) {
    enum class Mark { Unvisited, OnPath, Done };
    const auto children = network.children();
    std::vector<Mark> marks(network.variables.size(), Mark::Unvisited);
    struct Frame {
        int variable;
        std::size_t nextChild;
    };
    for (int root = 0; root < network.size(); ++root) {
        if (marks[root] != Mark::Unvisited) continue;
        std::vector<Frame> path{{root, 0}};
        marks[root] = Mark::OnPath;
        while (!path.empty()) {
            Frame& top = path.back();
            if (top.nextChild == children[top.variable].size()) {
                marks[top.variable] = Mark::Done;
                path.pop_back();
                continue;
            }
            const int child = children[top.variable][top.nextChild++];
            if (marks[child] == Mark::OnPath) {
                std::string message = "cycle: ";
                std::size_t start = 0;
                while (path[start].variable != child) ++start;
                for (std::size_t i = start; i < path.size(); ++i)
                    message += network.variables[path[i].variable].name + " -> ";
                throw ModelError(message + network.variables[child].name);
            }
            if (marks[child] == Mark::Unvisited) {
                marks[child] = Mark::OnPath;
                path.push_back({child, 0});
            }
        }
    }
}

// Parent configurations of v, or an error when the table would not fit in memory.
std::size_t checkedConfigurationCount(const Network& network, const Variable& variable) {
    std::size_t count = 1;
    const std::size_t limit = std::numeric_limits<std::size_t>::max() / 2 / variable.states.size();
    for (int parent : variable.parents) {
        const std::size_t states = network.variables[parent].states.size();
        if (count > limit / states) fail(variable, "table is too large");
        count *= states;
    }
    return count;
}

void checkTable(const Network& network, Variable& variable, double tolerance, Renormalised& renormalised) {
    const std::size_t configurations = checkedConfigurationCount(network, variable);
    const std::size_t states = variable.states.size();
    if (variable.table.size() != configurations * states)
        fail(variable, "table has " + std::to_string(variable.table.size()) + " entries, expected " +
                           std::to_string(configurations * states) + " (" + std::to_string(configurations) +
                           " parent configurations x " + std::to_string(states) + " states)");
    // " for (A=yes, B=no)", or nothing for a variable without parents.
    const auto where = [&](std::size_t q) {
        return variable.parents.empty() ? std::string() : " for " + describeConfiguration(network, variable.parents, q);
    };
    for (std::size_t q = 0; q < configurations; ++q) {
        double* column = variable.table.data() + q * states;
        double sum = 0.0;
        for (std::size_t s = 0; s < states; ++s) {
            if (!std::isfinite(column[s]) || column[s] < 0.0)
                fail(variable, "probability " + shortNumber(column[s]) + " of state \"" + variable.states[s] + "\"" +
                                   where(q) + " is " + (std::isfinite(column[s]) ? "negative" : "not finite"));
            sum += column[s];
        }
        const double deviation = std::abs(sum - 1.0);
        if (deviation > tolerance) fail(variable, "probabilities" + where(q) + " sum to " + shortNumber(sum) + ", expected 1");
        if (deviation <= kRoundingSlack) continue;
        for (std::size_t s = 0; s < states; ++s) column[s] /= sum;
        if (deviation <= kUnremarkable) continue;
        ++renormalised.columns;
        if (deviation > std::abs(renormalised.furthestSum - 1.0)) {
            renormalised.furthestSum = sum;
            renormalised.furthestColumn = "variable \"" + variable.name + "\"" + where(q);
        }
    }
}

}  // namespace

std::string describeConfiguration(const Network& network, const std::vector<int>& parents, std::size_t q) {
    std::string text = ")";
    for (std::size_t k = parents.size(); k-- > 0;) {
        const Variable& parent = network.variables[parents[k]];
        text.insert(0, (k ? ", " : "") + parent.name + "=" + parent.states[q % parent.states.size()]);
        q /= parent.states.size();
    }
    return "(" + text;
}

bool isValidAsIs(const Network& network) {
    checkNamesAndStates(network);
    checkParentIndices(network);
    checkAcyclic(network);
    for (const Variable& variable : network.variables) {
        const std::size_t states = variable.states.size();
        if (variable.table.size() != checkedConfigurationCount(network, variable) * states) return false;
        for (std::size_t at = 0; at < variable.table.size(); at += states) {
            double sum = 0.0;
            for (std::size_t s = 0; s < states; ++s) {
                const double p = variable.table[at + s];
                if (!std::isfinite(p) || p < 0.0) return false;
                sum += p;
            }
            if (std::abs(sum - 1.0) > kRoundingSlack) return false;
        }
    }
    return true;
}

Renormalised validate(Network& network, double tolerance) {
    checkNamesAndStates(network);
    checkParentIndices(network);
    checkAcyclic(network);
    Renormalised renormalised;
    for (Variable& variable : network.variables) checkTable(network, variable, tolerance, renormalised);
    return renormalised;
}

}  // namespace samplenet
