#include "engine/samplenet.h"

namespace {

// Number of parent configurations of a node, or 0 when a parent has no states.
int ColumnCount(SampleNode** nodes, const SampleNode& node) {
    int count = 1;
    for (int p = 0; p < node.parents.numElements; ++p) count *= nodes[node.parents[p]]->numStates;
    return node.parents.numElements > 0 && count <= 0 ? 0 : count;
}

void ZeroTable(QVR_Dmatrix& table) {
    for (int k = 0; k < table.data.numElements; ++k) table.data[k] = 0.0;
}

}  // namespace

void SampleNet::InitNormalizedTable(int index, bool parentOfEvidence) {
    SampleNode& node = *nodes[index];
    if (!node.changeFlag) return;
    const int n = node.numStates;
    // Small probabilities are raised to a floor that shrinks as the state
    // count grows; parents of evidence, and very wide nodes, go uniform.
    double threshold = 0.0;
    if (!parentOfEvidence) {
        if (n < 6) {
            threshold = 0.1;
        } else if (n <= 8) {
            threshold = 0.04;
        } else if (n <= 20) {
            threshold = 0.0025;
        }
    }
    const bool uniform = threshold == 0.0;
    if (n < 1) return;

    const int columns = ColumnCount(nodes, node);
    for (int c = 0; c < columns; ++c) {
        const double* probability = node.cpt->data.data + c * n;
        double* importance = node.importanceTable->data.data + c * n;
        int largest = 0;
        double largestValue = 0.0;
        int nonZero = 0;
        for (int s = 0; s < n; ++s) {
            if (probability[s] > largestValue) {
                largestValue = probability[s];
                largest = s;
            }
            if (probability[s] != 0.0) ++nonZero;
        }
        if (uniform) {
            for (int s = 0; s < n; ++s) importance[s] = probability[s] != 0.0 ? 1.0 / nonZero : 0.0;
            continue;
        }
        double deficit = 0.0;
        for (int s = 0; s < n; ++s) {
            const double v = probability[s];
            if (v < threshold && v != 0.0) {
                importance[s] = threshold;
                deficit += threshold - v;
            } else {
                importance[s] = v;
            }
        }
        importance[largest] -= deficit;
    }
}

void SampleNet::NormalizeImportantTable(int index) {
    SampleNode& node = *nodes[index];
    const int n = node.numStates;
    const int columns = n >= 1 ? ColumnCount(nodes, node) : 0;
    const double rate = learningRate;
    for (int c = 0; c < columns; ++c) {
        const double* sums = node.totalTable->data.data + c * n;
        double* importance = node.importanceTable->data.data + c * n;
        double total = 0.0;
        for (int s = 0; s < n; ++s) total += sums[s];
        // A column never sampled with positive weight has nothing to learn from.
        if (total == 0.0) continue;
        for (int s = 0; s < n; ++s) importance[s] = (rate * sums[s]) / total + (1.0 - rate) * importance[s];
    }
    ZeroTable(*node.totalTable);
}

void SampleNet::AddImportantTable(double weight, bool) {
    if (!(weight > 0.0)) return;
    for (int i = 0; i < nodeCount; ++i) {
        SampleNode& node = *nodes[i];
        if (node.evidence >= 0) continue;
        // Both tables have the node's shape, so one index addresses both.
        const int k = node.importanceTable->CoordinatesToIndex(node.stateRefs);
        const double weighted = node.importanceTable->data[k] * weight;
        node.totalTable->data[k] += weighted * weighted;
    }
}

void SampleNet::UpdateNormalizedTable() {
    for (int i = 0; i < nodeCount; ++i)
        if (nodes[i]->changeFlag) NormalizeImportantTable(i);
    learningRate *= 0.9;
}

void SampleNet::SetTotalTableToZero() {
    // A run that learns nothing has no sums to clear.
    for (int i = 0; i < nodeCount; ++i)
        if (nodes[i]->totalTable != nullptr) ZeroTable(*nodes[i]->totalTable);
}
