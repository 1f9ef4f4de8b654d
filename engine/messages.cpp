#include "engine/samplenet.h"

namespace {

void Fill(QVR_doubleArray& vector, int count, double value) {
    for (int s = 0; s < count; ++s) vector[s] = value;
}

void Fill(QVR_Dmatrix& table, double value) {
    for (int k = 0; k < table.data.numElements; ++k) table.data[k] = value;
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
    Fill(piPrev, numStates, 1.0);
    Fill(pi, numStates, 1.0);
    Fill(beliefPrev, numStates, 0.0);
    Fill(belief, numStates, 0.0);
    Fill(lambdaPrev, numStates, 1.0);
    Fill(lambda, numStates, 1.0);
    Fill(evidenceVector, numStates, evidence >= 0 ? 0.0 : 1.0);
    if (evidence >= 0) evidenceVector[evidence] = 1.0;
    Fill(*lambdaMsgs, 1.0);
    Fill(*lambdaMsgsNext, 1.0);
    Fill(*piMsgs, 1.0);
    Fill(*piMsgsNext, 1.0);
    Fill(piProductPrev, piProductPrev.numElements, 1.0);
    Fill(piProduct, piProduct.numElements, 1.0);
}

int SampleNode::NormalizeMessages(bool forceUniform) {
    if (numParents > 0) {
        const int width = piMsgs->GetSizeOfDimension(1);
        for (int k = 0; k < numParents; ++k)
            if (!Normalize(piMsgs->data.data + k * width, parentStateCounts[k], forceUniform)) return kZeroTotal;
    }
    if (!Normalize(lambdaPrev.data, numStates, forceUniform)) return kZeroTotal;
    if (!Normalize(piPrev.data, numStates, forceUniform)) return kZeroTotal;
    for (int i = 0; i < numChildren; ++i)
        if (!Normalize(lambdaMsgs->data.data + i * numStates, numStates, forceUniform)) return kZeroTotal;
    return 0;
}

void SampleNet::InitAllMessages() {
    for (int i = 0; i < nodeCount; ++i) nodes[i]->InitAllMessages();
}
