#include "engine/samplenet.h"

SampleNet::SampleNet(SamplingAdapter& host) : adapter(&host) {
    nodeCount = adapter->GetNodeCount();
    CreateNodeList();
    for (int i = 0; i < nodeCount; ++i) nodes[i] = nullptr;
    adapter->PartialOrdering();
    if (nodeCount <= 0) return;

    // Every node exists before any is wired, so that children can point at
    // their parents' sampled states.
    for (int i = 0; i < nodeCount; ++i) CreateANode(i, adapter->GetStateCount(i));

    for (int i = 0; i < nodeCount; ++i) {
        SampleNode& x = *nodes[i];
        const int p = adapter->GetNumParents(i);
        x.stateRefs = new int*[p + 1];
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
    for (int i = 0; i < nodeCount; ++i) delete nodes[i];
    delete[] nodes;
}

void SampleNet::CreateNodeList() { nodes = new SampleNode*[nodeCount]; }

void SampleNet::CreateANode(int index, int numStates) { nodes[index] = new SampleNode(numStates); }

void SampleNet::CheckChangeFlag() {
    // An observed node is flagged only by a walk from an observed descendant,
    // so its own walk's flag is cleared straight after.
    for (int i = 0; i < nodeCount; ++i) {
        if (nodes[i]->evidence >= 0) {
            ChangeParentFlag(i);
            nodes[i]->changeFlag = false;
        }
    }
}

void SampleNet::ChangeParentFlag(int index) {
    SampleNode& node = *nodes[index];
    node.changeFlag = true;
    // A flagged parent already has all its ancestors flagged; walking every
    // path again would cost time exponential in the depth of layered networks.
    for (int j = 0; j < node.parents.numElements; ++j)
        if (!nodes[node.parents[j]]->changeFlag) ChangeParentFlag(node.parents[j]);
}
