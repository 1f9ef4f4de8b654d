#include "engine/samplenet.h"

double SampleNode::takeImportanceSample() {
    sampledState = 0;
    const double u = RandLcg();
    // With the own coordinate at 0 this is the first entry of the column that
    // the parents' current states select; the column is contiguous.
    const int base = importanceTable->CoordinatesToIndex(stateRefs);
    const double* importance = importanceTable->data.data + base;
    const double* probability = cpt->data.data + base;
    double sum = 0.0;
    for (int s = 0; s < numStates; ++s) {
        sum += importance[s];
        if (u <= sum) {
            sampledState = s;
            return probability[s] / importance[s];
        }
    }
    // Rounding left u above the column total: take the last possible state.
    if (numStates < 1) return 0.0;
    int s = numStates - 1;
    while (s > 0 && importance[s] == 0.0) --s;
    sampledState = s;
    // A column with no possible state cannot be drawn from: the sample is void.
    if (importance[s] == 0.0) return 0.0;
    return probability[s] / importance[s];
}

void SampleNode::InitWeight() {
    for (int s = 0; s < numStates; ++s) weights[s] = 0.0;
    if (evidence >= 0) weights[evidence] = 1.0;
}

double SampleNode::NormalizeWeight() {
    double total = 0.0;
    for (int s = 0; s < numStates; ++s) total += weights[s];
    if (total > 0.0)
        for (int s = 0; s < numStates; ++s) weights[s] /= total;
    return total;
}

double SampleNet::OneImportanceSample() {
    double weight = 1.0;
    for (int i = 0; i < nodeCount; ++i) {
        SampleNode& node = *nodes[i];
        if (node.evidence >= 0) {
            weight *= node.cpt->data[node.cpt->CoordinatesToIndex(node.stateRefs)];
        } else {
            weight *= node.takeImportanceSample();
        }
        // Only an exact zero ends a sample, so the draws a sample takes depend
        // on zero factors alone. A NaN weight (an overflowed product times a
        // zero factor) draws on to the end; AddWeight ignores it.
        if (weight == 0.0) break;
    }
    return weight;
}

void SampleNet::AddWeight(double weight) {
    if (!(weight > 0.0)) return;
    for (int i = 0; i < nodeCount; ++i) {
        SampleNode& node = *nodes[i];
        if (node.evidence < 0) node.weights[node.sampledState] += weight;
    }
}

void SampleNet::InitAllWeights() {
    for (int i = 0; i < nodeCount; ++i) nodes[i]->InitWeight();
}
