#include "tests/support/random_network.h"

#include <algorithm>
#include <numeric>

namespace testing_support {
namespace {

int uniform(std::mt19937& rng, int low, int high) { return std::uniform_int_distribution<int>(low, high)(rng); }

std::vector<double> randomTable(std::mt19937& rng, int states, int configurations, double zeroShare) {
    std::uniform_real_distribution<double> value(0.0, 1.0);
    std::vector<double> table(static_cast<std::size_t>(states) * configurations);
    for (int q = 0; q < configurations; ++q) {
        double* column = table.data() + static_cast<std::size_t>(q) * states;
        const int kept = uniform(rng, 0, states - 1);
        double sum = 0.0;
        for (int s = 0; s < states; ++s) {
            column[s] = (s != kept && value(rng) < zeroShare) ? 0.0 : 0.05 + value(rng);
            sum += column[s];
        }
        for (int s = 0; s < states; ++s) column[s] /= sum;
    }
    return table;
}

// Parents of each variable, by position in a topological order.
std::vector<std::vector<int>> randomParents(std::mt19937& rng, const RandomNetworkShape& shape) {
    const int n = shape.variables;
    std::vector<std::vector<int>> parents(n);
    if (shape.polytree) {
        for (int v = 1; v < n; ++v) {
            const int other = uniform(rng, 0, v - 1);
            // One arc, either way, joins v to the tree: the undirected graph
            // stays a tree, so there is no cycle of either kind.
            if (uniform(rng, 0, 1) == 0) parents[v].push_back(other);
            else parents[other].push_back(v);
        }
        return parents;
    }
    for (int v = 1; v < n; ++v) {
        std::vector<int> earlier(v);
        std::iota(earlier.begin(), earlier.end(), 0);
        std::shuffle(earlier.begin(), earlier.end(), rng);
        earlier.resize(std::min(v, uniform(rng, 0, shape.maxParents)));
        parents[v] = earlier;
    }
    return parents;
}

}  // namespace

TinyNet randomNetwork(std::mt19937& rng, const RandomNetworkShape& shape) {
    const int n = shape.variables;
    const std::vector<std::vector<int>> parents = randomParents(rng, shape);
    std::vector<int> states(n);
    for (int& count : states) count = uniform(rng, 1, shape.maxStates);
    // Variable v of the construction is declared at position slot[v].
    std::vector<int> slot(n);
    std::iota(slot.begin(), slot.end(), 0);
    std::shuffle(slot.begin(), slot.end(), rng);
    std::vector<int> at(n);
    for (int v = 0; v < n; ++v) at[slot[v]] = v;

    TinyNet net;
    for (int position = 0; position < n; ++position) {
        const int v = at[position];
        std::vector<int> declared;
        int configurations = 1;
        for (int p : parents[v]) {
            declared.push_back(slot[p]);
            configurations *= states[p];
        }
        net.add(states[v], declared, randomTable(rng, states[v], configurations, shape.zeroShare));
    }
    return net;
}

std::vector<int> sampledEvidence(std::mt19937& rng, const TinyNet& net, double share) {
    const int n = net.size();
    std::vector<int> state(n, -1);
    // Repeated passes settle every variable once its parents are settled.
    for (int settled = 0; settled < n;) {
        for (int v = 0; v < n; ++v) {
            if (state[v] >= 0) continue;
            if (std::any_of(net.parents[v].begin(), net.parents[v].end(), [&](int p) { return state[p] < 0; })) continue;
            std::size_t q = 0;
            for (int p : net.parents[v]) q = q * net.states[p] + state[p];
            const double* column = net.tables[v].data() + q * net.states[v];
            std::discrete_distribution<int> draw(column, column + net.states[v]);
            state[v] = draw(rng);
            ++settled;
        }
    }
    std::bernoulli_distribution observed(share);
    for (int& s : state)
        if (!observed(rng)) s = -1;
    return state;
}

}  // namespace testing_support
