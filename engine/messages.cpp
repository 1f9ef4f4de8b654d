#include "engine/samplenet.h"

namespace {

void Fill(double* entries, int count, double value) {
    for (int s = 0; s < count; ++s) entries[s] = value;
}

// Normalises `count` entries in place. A zero total fails unless
// forceUniform, which spreads the mass evenly instead.
bool Normalize(double* entries, int count, bool forceUniform) {
    double total = 0.0;
    for (int s = 0; s < count; ++s) total += entries[s];
    if (total > 0.0) {
        for (int s = 0; s < count; ++s) entries[s] /= total;
        return true;
    }
    if (!forceUniform) return false;
    for (int s = 0; s < count; ++s) entries[s] = 1.0 / count;
    return true;
}

constexpr int kZeroTotal = -26;

}  // namespace

void SampleNode::InitAllMessages() {
    Fill(pi(), numStates, 1.0);
    Fill(beliefPrev(), numStates, 0.0);
    Fill(belief(), numStates, 0.0);
    Fill(lambdaPrev.data, numStates, 1.0);
    Fill(lambda(), numStates, 1.0);
    Fill(evidenceVector(), numStates, evidence >= 0 ? 0.0 : 1.0);
    if (evidence >= 0) evidenceVector()[evidence] = 1.0;
    // The messages of both directions and the parents' products, which
    // follow each other in the node's piece of the arena.
    Fill(lambdaMsgs(), static_cast<int>(MessageEntries()) - 5 * numStates, 1.0);
}

int SampleNode::NormalizeMessages(bool forceUniform) {
    for (int k = 0; k < numParents; ++k)
        if (!Normalize(piMsgs() + k * piWidth, parentStateCounts[k], forceUniform)) return kZeroTotal;
    if (!Normalize(lambdaPrev.data, numStates, forceUniform)) return kZeroTotal;
    for (int i = 0; i < numChildren; ++i)
        if (!Normalize(lambdaMsgs() + i * numStates, numStates, forceUniform)) return kZeroTotal;
    return 0;
}

void SampleNet::InitAllMessages() {
    for (int i = 0; i < nodeCount; ++i) nodes[i]->InitAllMessages();
}
