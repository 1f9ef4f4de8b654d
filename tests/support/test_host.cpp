#include "tests/support/test_host.h"

#include <numeric>

namespace testing_support {

TestHost::TestHost(TinyNet network, std::vector<int> observed)
    : net(std::move(network)), evidence(std::move(observed)) {
    const int n = net.size();
    evidence.resize(n, -1);
    childLists.resize(n);
    for (int v = 0; v < n; ++v)
        for (int p : net.parents[v]) childLists[p].push_back(v);
    for (int v = 0; v < n; ++v) {
        QVR_intArray dims;
        dims.SetSize(static_cast<int>(net.parents[v].size()) + 1);
        for (std::size_t k = 0; k < net.parents[v].size(); ++k) dims[k] = net.states[net.parents[v][k]];
        dims[dims.numElements - 1] = net.states[v];
        auto table = std::make_unique<QVR_Dmatrix>(dims);
        for (int i = 0; i < table->data.numElements; ++i) table->data[i] = net.tables[v][i];
        tables.push_back(std::move(table));
        beliefBuffers.emplace_back(net.states[v], -1.0);
    }
    order.resize(n);
    std::iota(order.begin(), order.end(), 0);
    position = order;
}

void TestHost::PartialOrdering() {
    ++partialOrderingCalls;
    const int n = net.size();
    std::vector<bool> placed(n, false);
    order.clear();
    while (static_cast<int>(order.size()) < n) {
        for (int v = 0; v < n; ++v) {
            if (placed[v]) continue;
            bool ready = true;
            for (int p : net.parents[v]) ready = ready && placed[p];
            if (ready) {
                placed[v] = true;
                order.push_back(v);
                break;
            }
        }
    }
    for (int i = 0; i < n; ++i) position[order[i]] = i;
}

int TestHost::GetNumParents(int node) { return static_cast<int>(net.parents[order[node]].size()); }

void TestHost::GetParents(int node, fastarray<int, 24, int>& list) const {
    for (int p : net.parents[order[node]]) list.push_back(position[p]);
}

int TestHost::GetNumChildren(int node) { return static_cast<int>(childLists[order[node]].size()); }

void TestHost::GetChildren(int node, fastarray<int, 24, int>& list) const {
    for (int c : childLists[order[node]]) list.push_back(position[c]);
}

int TestHost::GetEvidence(int node) const { return evidence[order[node]]; }

}  // namespace testing_support
