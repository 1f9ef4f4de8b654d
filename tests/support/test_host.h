#pragma once

#include <memory>
#include <vector>

#include "host/sampling_adapter.h"
#include "tests/support/tiny_net.h"

namespace testing_support {

// In-memory SamplingAdapter over a TinyNet. Node indices given to the
// constructor ("original" indices) need not be topological: PartialOrdering
// renumbers them, and the accessors below take original indices. Records
// what the engine asked, so tests can check the calling contract.
class TestHost : public SamplingAdapter {
public:
    explicit TestHost(TinyNet net, std::vector<int> evidence = {});

    // Settings the engine reads through the adapter.
    EpisParams params{4, 4, 8, 20, 0.006, 0.001, 0.0005, 0.0001};
    int sampleCount = 1000;
    int depth = 100;

    // What the engine did.
    int partialOrderingCalls = 0;
    int sampleCountQueries = 0;
    std::vector<int> valueValidCalls;  // engine indices, in call order
    const std::vector<double>& beliefs(int original) const { return beliefBuffers[original]; }
    const std::vector<std::vector<double>>& allBeliefs() const { return beliefBuffers; }
    int engineIndex(int original) const { return position[original]; }

    int GetNodeCount() const override { return net.size(); }
    void PartialOrdering() override;
    int GetStateCount(int node) const override { return net.states[order[node]]; }
    int GetNumParents(int node) override;
    void GetParents(int node, fastarray<int, 24, int>& list) const override;
    int GetNumChildren(int node) override;
    void GetChildren(int node, fastarray<int, 24, int>& list) const override;
    QVR_Dmatrix* GetMatrix(int node) const override { return tables[order[node]].get(); }
    int GetEvidence(int node) const override;
    int GetNumberOfSamples() override {
        ++sampleCountQueries;
        return sampleCount;
    }
    double* GetBeliefs(int node) const override {
        return const_cast<double*>(beliefBuffers[order[node]].data());
    }
    void SetValueValid(int node) override { valueValidCalls.push_back(node); }
    EpisParams* GetEPISParams() override { return &params; }
    int GetDepthOfNet() override { return depth; }

private:
    TinyNet net;
    std::vector<int> evidence;
    std::vector<std::vector<int>> childLists;
    std::vector<std::unique_ptr<QVR_Dmatrix>> tables;
    std::vector<std::vector<double>> beliefBuffers;
    std::vector<int> order;     // engine index -> original index
    std::vector<int> position;  // original index -> engine index
};

}  // namespace testing_support
