#include "lib/generate/random_network.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace samplenet {
namespace {

// std::mt19937_64 is specified to the bit; the standard distributions are
// not, so ranges and doubles are drawn here.
class Draws {
public:
    explicit Draws(std::uint64_t seed) : engine_(seed) {}

    // Uniform in [0, n), n >= 1: raw values below 2^64 mod n are rejected
    // so that every remainder is equally likely.
    std::uint64_t below(std::uint64_t n) {
        const std::uint64_t threshold = (0 - n) % n;
        for (;;) {
            const std::uint64_t value = engine_();
            if (value >= threshold) return value % n;
        }
    }
    int below(int n) { return static_cast<int>(below(static_cast<std::uint64_t>(n))); }
    // Uniform in [0, 1) and in (0, 1], on a grid of 2^-53.
    double unit() { return static_cast<double>(engine_() >> 11) * 0x1.0p-53; }
    double positive() { return static_cast<double>((engine_() >> 11) + 1) * 0x1.0p-53; }

private:
    std::mt19937_64 engine_;
};

// Exact below ten million, "5.1e8" above.
std::string roughCount(double count) {
    if (std::isinf(count)) return "more than 1e308";
    char text[32];
    if (count < 1e7) {
        std::snprintf(text, sizeof text, "%.0f", count);
        return text;
    }
    std::snprintf(text, sizeof text, "%.1e", count);
    std::string result = text;
    const std::size_t e = result.find('e');
    std::string exponent = result.substr(e + 2);  // skips "e+"
    exponent.erase(0, std::min(exponent.find_first_not_of('0'), exponent.size() - 1));
    return result.substr(0, e + 1) + exponent;
}

void checkOptions(const RandomNetworkOptions& options) {
    if (options.nodes < 1) throw std::invalid_argument("a network needs at least 1 node");
    if (options.minStates < 1) throw std::invalid_argument("a node needs at least 1 state");
    if (options.minStates > options.maxStates)
        throw std::invalid_argument("the fewest states (" + std::to_string(options.minStates) +
                                    ") are above the most states (" + std::to_string(options.maxStates) + ")");
    if (options.maxParents < 0) throw std::invalid_argument("the most parents cannot be negative");
    if (options.maxParents > 0 && options.locality < 1)
        throw std::invalid_argument("parents are drawn from the previous `locality` nodes, which must be at least 1");
    if (!(options.zeroShare >= 0.0 && options.zeroShare < 1.0))
        throw std::invalid_argument("the share of zero entries must be at least 0 and below 1");
}

// Node i has at most this many parents.
int parentBound(const RandomNetworkOptions& options, int i) {
    return std::min({options.maxParents, options.locality, i});
}

// Refuses what the largest network the options allow would need beyond
// `limits`, reckoned in doubles, which hold these sums without overflow.
void checkLimits(const RandomNetworkOptions& options, const ReadLimits& limits) {
    const auto maxStates = static_cast<std::size_t>(options.maxStates);
    if (maxStates > limits.maxStates)
        throw std::invalid_argument("nodes of up to " + std::to_string(maxStates) + " states are above the limit of " +
                                    std::to_string(limits.maxStates) + " states (--max-states)");
    const int parents = parentBound(options, options.nodes - 1);
    const double states = options.maxStates;
    const std::string shape = " with up to " + std::to_string(maxStates) + " states and " + std::to_string(parents) +
                              " parents may need ";
    const double largestTable = std::pow(states, parents + 1);
    if (largestTable > static_cast<double>(limits.maxTableEntries))
        throw std::invalid_argument("a node" + shape + "a table of " + roughCount(largestTable) +
                                    " entries, above the limit of " + std::to_string(limits.maxTableEntries) +
                                    " (--max-table-entries)");
    // Nodes before the `parents`-th have fewer nodes to draw parents from.
    double entries = 0.0;
    double arcs = 0.0;
    for (int i = 0; i < parents; ++i) {
        entries += std::pow(states, i + 1);
        arcs += i;
    }
    entries += (static_cast<double>(options.nodes) - parents) * largestTable;
    arcs += (static_cast<double>(options.nodes) - parents) * parents;
    const std::string network = "a network of " + std::to_string(options.nodes) + " nodes";
    const std::string limit = std::to_string(limits.maxTotalEntries) + " (--max-total-entries)";
    if (entries > static_cast<double>(limits.maxTotalEntries))
        throw std::invalid_argument(network + shape + roughCount(entries) + " table entries, above the limit of " +
                                    limit);
    // Matters only for one-state nodes, whose tables stay small however
    // many parents they have.
    if (arcs > static_cast<double>(limits.maxTotalEntries))
        throw std::invalid_argument(network + " with up to " + std::to_string(parents) + " parents may have " +
                                    roughCount(arcs) + " arcs, above the limit of " + limit);
}

std::vector<std::string> numberedNames(const char* prefix, int count) {
    std::vector<std::string> names;
    names.reserve(count);
    for (int i = 0; i < count; ++i) names.push_back(prefix + std::to_string(i));
    return names;
}

// Distinct parents of node i among the `window` nodes before it, by a
// partial shuffle of the first `window` places of `pool`. Those places hold
// the offsets 0 .. window - 1 in some order, as the window never shrinks, and
// a partial shuffle picks uniformly from any order; so the pool is never
// reset and each node costs time in proportion to its parents.
std::vector<int> drawParents(Draws& draws, int i, int window, int count, std::vector<int>& pool) {
    std::vector<int> parents(count);
    for (int j = 0; j < count; ++j) {
        std::swap(pool[j], pool[j + draws.below(window - j)]);
        parents[j] = i - window + pool[j];
    }
    std::sort(parents.begin(), parents.end());
    return parents;
}

// Each entry but one chosen per column is zero with a probability that
// makes the expected share of zeros `zeroShare`, as far as one positive
// entry per column allows.
void fillTable(Draws& draws, Variable& variable, std::size_t configurations, double zeroShare) {
    const int states = variable.stateCount();
    const double zeroChance =
        states > 1 ? std::min(1.0, zeroShare * states / (states - 1)) : 0.0;
    variable.table.resize(configurations * states);
    for (std::size_t q = 0; q < configurations; ++q) {
        double* column = variable.table.data() + q * states;
        const int kept = zeroChance > 0.0 ? draws.below(states) : 0;
        double sum = 0.0;
        for (int s = 0; s < states; ++s) {
            column[s] = (s != kept && zeroChance > 0.0 && draws.unit() < zeroChance) ? 0.0 : draws.positive();
            sum += column[s];
        }
        for (int s = 0; s < states; ++s) column[s] /= sum;
    }
}

}  // namespace

Network randomNetwork(const RandomNetworkOptions& options, const ReadLimits& limits) {
    checkOptions(options);
    checkLimits(options, limits);
    Draws draws(options.seed);
    const std::vector<std::string> stateNames = numberedNames("s", options.maxStates);
    std::vector<int> pool(std::max(0, std::min(options.locality, options.nodes)));
    for (std::size_t k = 0; k < pool.size(); ++k) pool[k] = static_cast<int>(k);

    Network network;
    network.name = "random";
    network.variables.resize(options.nodes);
    for (int i = 0; i < options.nodes; ++i) {
        Variable& variable = network.variables[i];
        variable.name = "X" + std::to_string(i);
        const int states = options.minStates + draws.below(options.maxStates - options.minStates + 1);
        variable.states.assign(stateNames.begin(), stateNames.begin() + states);
        const int bound = parentBound(options, i);
        const int count = bound > 0 ? 1 + draws.below(bound) : 0;
        variable.parents = drawParents(draws, i, std::min(i, options.locality), count, pool);
        std::size_t configurations = 1;
        for (int parent : variable.parents) configurations *= network.variables[parent].states.size();
        fillTable(draws, variable, configurations, options.zeroShare);
    }
    network.reindex();
    return network;
}

}  // namespace samplenet
