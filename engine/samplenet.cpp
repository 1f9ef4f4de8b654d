#include "engine/samplenet.h"

#include <algorithm>
#include <new>
#include <vector>

SampleNet::SampleNet(SamplingAdapter& host) : adapter(&host) {
    nodeCount = adapter->GetNodeCount();
    CreateNodeList();
    for (int i = 0; i < nodeCount; ++i) nodes[i] = nullptr;
    adapter->PartialOrdering();
    if (nodeCount <= 0) return;

    // Every node exists before any is wired, so that children can point at
    // their parents' sampled states. The nodes' weights and state lists are
    // pieces of two arenas: one allocation each instead of two per node.
    std::size_t weightCount = 0;
    std::size_t refCount = 0;
    for (int i = 0; i < nodeCount; ++i) {
        weightCount += static_cast<std::size_t>(std::max(adapter->GetStateCount(i), 0));
        refCount += static_cast<std::size_t>(adapter->GetNumParents(i)) + 1;
    }
    weightArena = std::make_unique<double[]>(weightCount + 1);
    refArena = std::make_unique<int*[]>(refCount);
    for (int i = 0; i < nodeCount; ++i) CreateANode(i, adapter->GetStateCount(i));

    int** refRoom = refArena.get();
    for (int i = 0; i < nodeCount; ++i) {
        SampleNode& x = *nodes[i];
        const int p = adapter->GetNumParents(i);
        x.stateRefs = refRoom;
        refRoom += p + 1;
        x.numParents = p;
        x.parentStateCounts.SetSize(p);
        x.parents.SetSize(p);
        fastarray<int, 24, int> parentList;
        adapter->GetParents(i, parentList);
        for (int j = 0; j < p; ++j) {
            x.parents[j] = parentList.items[j];
            x.parentStateCounts[j] = adapter->GetStateCount(parentList.items[j]);
        }

        const int k = adapter->GetNumChildren(i);
        x.numChildren = k;
        x.children.SetSize(k);
        fastarray<int, 24, int> childList;
        adapter->GetChildren(i, childList);
        for (int j = 0; j < k; ++j) x.children[j] = childList.items[j];

        for (int j = 0; j < p; ++j) x.stateRefs[j] = &nodes[x.parents[j]]->sampledState;
        x.stateRefs[p] = &x.sampledState;
        x.cpt = adapter->GetMatrix(i);
        x.changeFlag = false;
        const int e = adapter->GetEvidence(i);
        if (e >= 0) {
            x.evidence = e;
            x.sampledState = e;
        }
    }
    CheckChangeFlag();
}

SampleNet::~SampleNet() {
    if (nodes == nullptr) return;
    for (int i = 0; i < nodeCount; ++i)
        if (nodes[i] != nullptr) nodes[i]->~SampleNode();
    delete[] nodes;
}

void SampleNet::CreateNodeList() {
    nodes = new SampleNode*[nodeCount];
    // The nodes themselves in one allocation: a million allocations of a
    // node each cost the allocator's bookkeeping a million times.
    if (nodeCount > 0) nodePool = std::make_unique<NodeRoom[]>(static_cast<std::size_t>(nodeCount));
}

void SampleNet::CreateANode(int index, int numStates) {
    nodes[index] = new (&nodePool[index]) SampleNode(numStates, weightArena.get() + weightsPlaced);
    weightsPlaced += static_cast<std::size_t>(std::max(numStates, 0));
}

namespace {

// Flags node `start` and every proper ancestor. `reached` holds the nodes
// reached through a parent edge in the current pass: their ancestors are
// flagged already, and walking them again (once per path: exponential in the
// depth of layered networks) could only set flags that are set. The start is
// not marked, since the pass clears an observed start's flag afterwards and
// a later walk must be able to set it again.
void FlagWithAncestors(SampleNode** nodes, int start, std::vector<char>& reached) {
    nodes[start]->changeFlag = true;
    std::vector<int> pending{start};
    while (!pending.empty()) {
        const SampleNode& node = *nodes[pending.back()];
        pending.pop_back();
        for (int j = 0; j < node.parents.numElements; ++j) {
            const int parent = node.parents[j];
            if (reached[parent]) continue;
            reached[parent] = 1;
            nodes[parent]->changeFlag = true;
            pending.push_back(parent);
        }
    }
}

}  // namespace

void SampleNet::CheckChangeFlag() {
    // An observed node is flagged only by a walk from an observed descendant,
    // so its own walk's flag is cleared straight after. In index order that
    // descendant's walk comes later; a node reached as an ancestor has had its
    // own turn already, so no clearing undoes the flags of a pass.
    std::vector<char> reached(nodeCount, 0);
    for (int i = 0; i < nodeCount; ++i) {
        if (nodes[i]->evidence >= 0) {
            FlagWithAncestors(nodes, i, reached);
            nodes[i]->changeFlag = false;
        }
    }
}

void SampleNet::ChangeParentFlag(int index) {
    // A walk of its own: flags already set stop nothing, every ancestor is set.
    std::vector<char> reached(nodeCount, 0);
    FlagWithAncestors(nodes, index, reached);
}
