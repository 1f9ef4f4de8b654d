#include "engine/propagation.h"
#include "engine/samplenet.h"

int SampleNet::LBP() {
    const int iterations = adapter->GetEPISParams()->propagationLength;
    if (nodeCount <= 0) return 0;
    propagation::Prepare(*this);
    const int result = propagation::Run(*this, iterations, propagation::OnEmptyBelief::Fail);
    if (result != 0) return result;
    propagation::HandOverBeliefs(*this);
    return 0;
}

void propagation::HandOverBeliefs(SampleNet& net) {
    for (int i = 0; i < net.nodeCount; ++i) {
        SampleNode& node = *net.nodes[i];
        for (int s = 0; s < node.numStates; ++s) node.weights[s] = node.beliefPrev()[s];
        node.NormalizeWeight();
        node.WriteBeliefsDirectBack(net.adapter->GetBeliefs(i));
    }
}
