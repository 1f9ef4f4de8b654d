#pragma once

#include <map>
#include <memory>
#include <vector>

#include "host/sampling_adapter.h"
#include "lib/inference/run_clock.h"
#include "lib/model/network.h"
#include "lib/util/worker_pool.h"

namespace samplenet {

// The engine's view of a Network with hard evidence. The engine numbers
// nodes in a topological order (set by PartialOrdering); results are kept
// by variable index. The network must be valid and outlive the adapter.
// With more than one thread, the engine's loops over nodes (propagation,
// importance tables, the sampling plan) share them, with results equal to
// one thread's.
class NetworkAdapter : public SamplingAdapter {
public:
    NetworkAdapter(const Network& network, const std::map<int, int>& observed, const EpisParams& params,
                   int samples, RunClock& clock, int threads = 1);

    // Results, by variable index.
    std::vector<double> beliefs(int variable) const {
        return {beliefStore.begin() + beliefStart[variable], beliefStore.begin() + beliefStart[variable + 1]};
    }
    bool valid(int variable) const { return validity[variable]; }
    // After a driver failed: marks the variable whose beliefs the engine
    // could not compute (the one it validated last) and returns it, or -1
    // when it failed before validating any.
    int recordFailure();
    // The variable behind an engine index.
    int variableAt(int node) const { return order[node]; }
    // The engine index of a variable, once the engine has ordered them.
    int nodeOf(int variable) const { return position[variable]; }

    int GetNodeCount() const override { return network.size(); }
    void PartialOrdering() override;
    int GetStateCount(int node) const override { return network.variables[order[node]].stateCount(); }
    int GetNumParents(int node) override;
    void GetParents(int node, fastarray<int, 24, int>& list) const override;
    int GetNumChildren(int node) override;
    void GetChildren(int node, fastarray<int, 24, int>& list) const override;
    QVR_Dmatrix* GetMatrix(int node) const override { return &tables[order[node]]; }
    int GetEvidence(int node) const override { return evidence[order[node]]; }
    int GetNumberOfSamples() override;
    double* GetBeliefs(int node) const override { return beliefStore.data() + beliefStart[order[node]]; }
    void SetValueValid(int node) override;
    EpisParams* GetEPISParams() override { return &params; }
    int GetDepthOfNet() override { return depth; }
    void Checkpoint() override { clock.step(); }
    int GetThreadCount() const override { return pool ? pool->threads() : 1; }
    void RunTasks(int count, const std::function<void(int)>& task) override;

private:
    void listChildren();

    const Network& network;
    // Variable v's children are childList[childStart[v] .. childStart[v + 1]),
    // ascending: one array for all, not one per variable.
    std::vector<int> childStart;
    std::vector<int> childList;
    std::vector<int> evidence;  // state, or -1
    EpisParams params;
    int samples;
    int asked = 0;  // calls of GetNumberOfSamples
    int depth;
    RunClock& clock;
    // The engine writes through const accessors, so its buffers are mutable.
    // The tables' entries are the network's own (see addEngineTable).
    mutable std::vector<QVR_Dmatrix> tables;
    // Variable v's beliefs, in one array for all as the child lists are.
    mutable std::vector<double> beliefStore;
    std::vector<std::size_t> beliefStart;
    std::vector<bool> validity;
    int lastValidated = -1;  // engine index
    std::vector<int> topological;
    std::vector<int> order;     // engine index -> variable
    std::vector<int> position;  // variable -> engine index
    std::unique_ptr<WorkerPool> pool;  // none for one thread
};

}  // namespace samplenet
