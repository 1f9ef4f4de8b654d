#pragma once

#include <functional>

#include "epis_params.h"
#include "fastarray.h"
#include "qvr_dmatrix.h"

// The network as the inference engine sees it. After PartialOrdering every
// node index is in an order where parents come before their children.
class SamplingAdapter {
public:
    virtual ~SamplingAdapter() = default;

    virtual int GetNodeCount() const = 0;
    virtual void PartialOrdering() = 0;
    virtual int GetStateCount(int node) const = 0;
    virtual int GetNumParents(int node) = 0;
    // Parents in the order of the leading dimensions of GetMatrix(node).
    virtual void GetParents(int node, fastarray<int, 24, int>& list) const = 0;
    virtual int GetNumChildren(int node) = 0;
    virtual void GetChildren(int node, fastarray<int, 24, int>& list) const = 0;
    virtual QVR_Dmatrix* GetMatrix(int node) const = 0;
    // Observed state, or a negative value when the node is not observed.
    virtual int GetEvidence(int node) const = 0;
    virtual int GetNumberOfSamples() = 0;
    // Room for GetStateCount(node) doubles.
    virtual double* GetBeliefs(int node) const = 0;
    virtual void SetValueValid(int node) = 0;
    virtual EpisParams* GetEPISParams() = 0;
    virtual int GetDepthOfNet() = 0;
    // Called between units of work of the long loops (node updates of
    // propagation, samples of learning), so that the host can stop a run by
    // throwing; it must not touch the network.
    virtual void Checkpoint() {}
    // Threads the host lends to the engine's loops over nodes. With one the
    // engine runs those loops itself, node after node.
    virtual int GetThreadCount() const { return 1; }
    // Calls task(k) once for every k in [0, count) and returns once all calls
    // have returned. With more than one thread the calls run side by side, so
    // the engine gives them disjoint data to write. The host calls
    // Checkpoint on the calling thread between tasks.
    virtual void RunTasks(int count, const std::function<void(int)>& task) {
        for (int k = 0; k < count; ++k) {
            task(k);
            Checkpoint();
        }
    }
};
