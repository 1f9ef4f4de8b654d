#include <cstddef>

#include "engine/samplenet.h"

namespace {

void Release(QVR_Dmatrix*& table) {
    delete table;
    table = nullptr;
}

// Parent configurations of a node, as a stride list: entry k is the number of
// configurations of parents k.. (so entry 0 counts them all), the last 1.
void SetStrides(SampleNode& node) {
    node.parentStrides.SetSize(node.numParents + 1);
    node.parentStrides[node.numParents] = 1;
    for (int k = node.numParents; k >= 1; --k)
        node.parentStrides[k - 1] = node.parentStrides[k] * node.parentStateCounts[k - 1];
}

int WidestParent(const SampleNode& node) {
    int widest = 0;
    for (int k = 0; k < node.numParents; ++k)
        if (node.parentStateCounts[k] > widest) widest = node.parentStateCounts[k];
    return widest;
}

// Hands out consecutive pieces of an arena.
class Carver {
public:
    explicit Carver(double* arena) : next(arena) {}
    void Carve(QVR_doubleArray& view, int count) {
        view.Borrow(count > 0 ? next : nullptr, count);
        next += count > 0 ? count : 0;
    }

private:
    double* next;
};

}  // namespace

void SampleNet::SetParameterForImportanceSampling() {
    CreatePropagationBuffers();
    CreateImportanceTables();
    CreateLearningTables();
}

void SampleNet::CreatePropagationBuffers() {
    if (messageArena) return;
    std::size_t messages = 0;
    std::size_t lambdas = 0;
    for (int i = 0; i < nodeCount; ++i) {
        SampleNode& node = *nodes[i];
        SetStrides(node);
        node.piWidth = WidestParent(node);
        messages += node.MessageEntries();
        lambdas += static_cast<std::size_t>(node.numStates);
    }
    messageArena = std::make_unique<double[]>(messages + 1);
    lambdaArena = std::make_unique<double[]>(lambdas + 1);
    double* message = messageArena.get();
    Carver lambda(lambdaArena.get());
    for (int i = 0; i < nodeCount; ++i) {
        SampleNode& node = *nodes[i];
        lambda.Carve(node.lambdaPrev, node.numStates);
        node.messages = message;
        message += node.MessageEntries();
    }
}

void SampleNet::CreateImportanceTables() {
    for (int i = 0; i < nodeCount; ++i)
        if (nodes[i]->importanceTable == nullptr) nodes[i]->importanceTable = new QVR_Dmatrix(*nodes[i]->cpt);
}

void SampleNet::CreateLearningTables() {
    for (int i = 0; i < nodeCount; ++i) {
        SampleNode& node = *nodes[i];
        if (node.totalTable != nullptr) continue;
        node.totalTable = new QVR_Dmatrix(*node.cpt);
        for (int k = 0; k < node.totalTable->data.numElements; ++k) node.totalTable->data[k] = 0.0;
    }
}

void SampleNet::ReleaseMessages() {
    for (int i = 0; i < nodeCount; ++i) {
        SampleNode& node = *nodes[i];
        Release(node.totalTable);
        node.messages = nullptr;
    }
    messageArena.reset();
}

void SampleNet::ClearImportanceParameter() {
    ReleaseMessages();
    for (int i = 0; i < nodeCount; ++i) {
        Release(nodes[i]->importanceTable);
        nodes[i]->lambdaPrev.CleanUp();
    }
    lambdaArena.reset();
}
