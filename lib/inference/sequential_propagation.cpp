#include "lib/inference/sequential_propagation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <random>

namespace samplenet {

namespace {

// Scales `values` to sum 1; returns false (leaving them) when they sum to 0
// or are not finite.
bool normalised(double* values, std::size_t count) {
    const double sum = std::accumulate(values, values + count, 0.0);
    if (!(sum > 0.0) || !std::isfinite(sum)) return false;
    for (std::size_t s = 0; s < count; ++s) values[s] /= sum;
    return true;
}

// The factor graph: one factor per included variable's family, and one
// message per (family, member) edge from the family to the member.
class FactorGraph {
public:
    FactorGraph(const Network& network, const std::vector<int>& observed, const std::vector<char>& included)
        : network(network), observed(observed) {
        const int n = network.size();
        std::vector<std::vector<int>> edgesOf(n);
        for (int v = 0; v < n; ++v) {
            if (!included[v]) continue;
            families.push_back(v);
            firstEdge.push_back(edgeVariable.size());
            std::vector<int> members = network.variables[v].parents;
            members.push_back(v);
            for (int x : members) {
                edgesOf[x].push_back(static_cast<int>(edgeVariable.size()));
                edgeVariable.push_back(x);
                messageOffset.push_back(messages.size());
                const std::size_t states = network.variables[x].stateCount();
                messages.insert(messages.end(), states, 1.0 / static_cast<double>(states));
            }
        }
        firstEdge.push_back(edgeVariable.size());
        firstEdgeOf.push_back(0);
        for (int v = 0; v < n; ++v) {
            edgesInto.insert(edgesInto.end(), edgesOf[v].begin(), edgesOf[v].end());
            firstEdgeOf.push_back(edgesInto.size());
        }
    }

    // The product of the messages into `x` but the one along `except` (-1:
    // all), times x's clamp, normalised; all 0 when nothing is left.
    void productInto(int x, int except, double* out) const {
        const std::size_t states = network.variables[x].stateCount();
        std::fill_n(out, states, 1.0);
        if (observed[x] >= 0)
            for (std::size_t s = 0; s < states; ++s) out[s] = static_cast<int>(s) == observed[x] ? 1.0 : 0.0;
        for (std::size_t k = firstEdgeOf[x]; k < firstEdgeOf[x + 1]; ++k) {
            const int e = edgesInto[k];
            if (e == except) continue;
            const double* message = messages.data() + messageOffset[e];
            double largest = 0.0;
            for (std::size_t s = 0; s < states; ++s) largest = std::max(largest, out[s] *= message[s]);
            // Rescaled as it goes: hundreds of children would underflow.
            if (largest > 0.0 && largest < 1e-200)
                for (std::size_t s = 0; s < states; ++s) out[s] /= largest;
        }
        if (!normalised(out, states)) std::fill_n(out, states, 0.0);
    }

    // Sends all messages of family `f` from what its members send it;
    // returns the largest change, or -1 when no entry of the family is
    // compatible with what it was sent (its messages then stay).
    double update(std::size_t f);

    std::vector<int> families;
    std::vector<std::size_t> firstEdge;  // per family, one more at the end
    std::vector<int> edgeVariable;
    std::vector<std::size_t> messageOffset;
    std::vector<double> messages;
    std::vector<std::size_t> firstEdgeOf;  // per variable into edgesInto, one more at the end
    std::vector<int> edgesInto;
    double damping = 0.0;

private:
    const Network& network;
    const std::vector<int>& observed;
    // Per family update, reused.
    std::vector<double> incoming, outgoing, prefix;
    std::vector<std::size_t> offsets, counts, index;
};

double FactorGraph::update(std::size_t f) {
    const std::size_t first = firstEdge[f];
    const std::size_t members = firstEdge[f + 1] - first;
    offsets.assign(members + 1, 0);
    counts.resize(members);
    for (std::size_t k = 0; k < members; ++k) {
        counts[k] = network.variables[edgeVariable[first + k]].stateCount();
        offsets[k + 1] = offsets[k] + counts[k];
    }
    incoming.resize(offsets[members]);
    outgoing.assign(offsets[members], 0.0);
    prefix.resize(members + 1);
    for (std::size_t k = 0; k < members; ++k)
        productInto(edgeVariable[first + k], static_cast<int>(first + k), incoming.data() + offsets[k]);

    // Every entry of the family's table (the last member varying fastest)
    // adds to each member's message its value times what the others send.
    const std::vector<double>& table = network.variables[families[f]].table;
    index.assign(members, 0);
    for (double value : table) {
        if (value != 0.0) {
            prefix[0] = value;
            for (std::size_t k = 0; k < members; ++k) prefix[k + 1] = prefix[k] * incoming[offsets[k] + index[k]];
            double suffix = 1.0;
            for (std::size_t k = members; k-- > 0;) {
                outgoing[offsets[k] + index[k]] += prefix[k] * suffix;
                suffix *= incoming[offsets[k] + index[k]];
            }
        }
        for (std::size_t k = members; k-- > 0 && ++index[k] == counts[k];) index[k] = 0;
    }

    double change = 0.0;
    for (std::size_t k = 0; k < members; ++k)
        if (!normalised(outgoing.data() + offsets[k], counts[k])) return -1.0;
    for (std::size_t k = 0; k < members; ++k) {
        double* message = messages.data() + messageOffset[first + k];
        const double* fresh = outgoing.data() + offsets[k];
        for (std::size_t s = 0; s < counts[k]; ++s) {
            const double next = damping * message[s] + (1.0 - damping) * fresh[s];
            change = std::max(change, std::abs(next - message[s]));
            message[s] = next;
        }
    }
    return change;
}

}  // namespace

ChildMessages propagateSequentially(const Network& network, const std::vector<int>& observed,
                                    const std::vector<char>& included, const SequentialPropagationSettings& settings) {
    FactorGraph graph(network, observed, included);
    graph.damping = settings.damping;
    ChildMessages result;
    std::vector<std::size_t> order(graph.families.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::mt19937_64 shuffler(settings.seed);
    bool going = true;
    while (going && result.sweeps < settings.mostSweeps && !result.converged) {
        std::shuffle(order.begin(), order.end(), shuffler);
        double largest = 0.0;
        for (std::size_t f : order) {
            if (settings.keepGoing && !settings.keepGoing()) {
                going = false;
                break;
            }
            largest = std::max(largest, graph.update(f));
        }
        ++result.sweeps;
        result.converged = going && largest <= settings.tolerance;
    }

    // A variable's own family is its last member: its lambda leaves that edge out.
    result.lambda.resize(network.size());
    for (std::size_t f = 0; f < graph.families.size(); ++f) {
        const int v = graph.families[f];
        const int own = static_cast<int>(graph.firstEdge[f + 1] - 1);
        std::vector<double>& lambda = result.lambda[v];
        lambda.resize(network.variables[v].stateCount());
        graph.productInto(v, own, lambda.data());
    }
    return result;
}

}  // namespace samplenet
