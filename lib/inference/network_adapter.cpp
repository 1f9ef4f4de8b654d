#include "lib/inference/network_adapter.h"

#include <algorithm>
#include <climits>
#include <numeric>

#include "lib/inference/network_shape.h"
#include "lib/model/errors.h"

namespace samplenet {

namespace {

// The engine's view of a variable's table: the engine reads the tables it is
// given and never writes them, so it uses the network's own entries instead
// of a copy as large as the network.
void addEngineTable(std::vector<QVR_Dmatrix>& tables, const Network& network, int v) {
    const Variable& variable = network.variables[v];
    if (variable.table.size() > static_cast<std::size_t>(INT_MAX))
        throw ModelError("table of \"" + variable.name + "\" has more entries than the sampler can address");
    QVR_intArray dimensions;
    dimensions.SetSize(static_cast<int>(variable.parents.size()) + 1);
    for (std::size_t k = 0; k < variable.parents.size(); ++k)
        dimensions[static_cast<int>(k)] = network.variables[variable.parents[k]].stateCount();
    dimensions[dimensions.numElements - 1] = variable.stateCount();
    // In place: a copy of the matrix would copy the entries too.
    QVR_Dmatrix& table = tables.emplace_back(dimensions);
    table.data.Borrow(const_cast<double*>(variable.table.data()), static_cast<int>(variable.table.size()));
}

}  // namespace

NetworkAdapter::NetworkAdapter(const Network& network, const std::map<int, int>& observed,
                               const EpisParams& params, int samples, RunClock& clock, int threads)
    : network(network),
      evidence(network.size(), -1),
      params(params),
      samples(samples),
      depth(longestPathNodeCount(network)),
      clock(clock),
      validity(network.size(), false),
      topological(network.topologicalOrder()),
      order(network.size()),
      position(network.size()) {
    if (static_cast<int>(topological.size()) != network.size())
        throw ModelError("network \"" + network.name + "\" has a directed cycle");
    for (const auto& [v, state] : observed) evidence[v] = state;
    tables.reserve(network.size());
    beliefStart.assign(network.size() + 1, 0);
    for (int v = 0; v < network.size(); ++v) {
        addEngineTable(tables, network, v);
        beliefStart[v + 1] = beliefStart[v] + static_cast<std::size_t>(network.variables[v].stateCount());
    }
    beliefStore.assign(beliefStart.back(), 0.0);
    listChildren();
    std::iota(order.begin(), order.end(), 0);
    position = order;
    if (threads > 1) pool = std::make_unique<WorkerPool>(threads);
}

void NetworkAdapter::RunTasks(int count, const std::function<void(int)>& task) {
    if (!pool) {
        SamplingAdapter::RunTasks(count, task);
        return;
    }
    // The clock is the run's own thread's: only the calling thread steps it.
    pool->run(count, task, [this] { clock.step(); });
}

void NetworkAdapter::PartialOrdering() {
    order = topological;
    for (int i = 0; i < network.size(); ++i) position[order[i]] = i;
}

int NetworkAdapter::GetNumParents(int node) {
    return static_cast<int>(network.variables[order[node]].parents.size());
}

void NetworkAdapter::GetParents(int node, fastarray<int, 24, int>& list) const {
    for (int p : network.variables[order[node]].parents) list.push_back(position[p]);
}

void NetworkAdapter::listChildren() {
    childStart.assign(network.size() + 1, 0);
    for (const Variable& variable : network.variables)
        for (int p : variable.parents) ++childStart[p + 1];
    for (int v = 0; v < network.size(); ++v) childStart[v + 1] += childStart[v];
    childList.resize(childStart.back());
    std::vector<int> filled(childStart.begin(), childStart.end() - 1);
    for (int v = 0; v < network.size(); ++v)
        for (int p : network.variables[v].parents) childList[filled[p]++] = v;
}

int NetworkAdapter::GetNumChildren(int node) {
    const int v = order[node];
    return childStart[v + 1] - childStart[v];
}

void NetworkAdapter::GetChildren(int node, fastarray<int, 24, int>& list) const {
    const int v = order[node];
    for (int k = childStart[v]; k < childStart[v + 1]; ++k) list.push_back(position[childList[k]]);
}

// The engine asks before the first sample and after each one, so the
// answer can end its loop early: once the time budget is spent, it is the
// number drawn so far.
int NetworkAdapter::GetNumberOfSamples() {
    clock.countSample();
    const int drawn = asked++;
    return clock.outOfTime() ? std::min(drawn, samples) : samples;
}

// Beliefs are validated in engine order. A driver that fails on node i
// validates i again (i + 1 times in all) before it returns, so a repeated
// index marks the node that holds no beliefs.
void NetworkAdapter::SetValueValid(int node) {
    validity[order[node]] = node != lastValidated;
    lastValidated = node;
}

int NetworkAdapter::recordFailure() {
    if (lastValidated < 0) return -1;
    // Covers node 0, which a failing driver validates only once.
    validity[order[lastValidated]] = false;
    return order[lastValidated];
}

}  // namespace samplenet
