#include "engine/posterior_tables.h"

#include <cmath>

#include "engine/node_tasks.h"
#include "engine/samplenet.h"

namespace {

double EpsilonFor(const EpisParams& params, int numStates) {
    if (numStates <= params.stateCountLimit1) return params.epsilon1;
    if (numStates <= params.stateCountLimit2) return params.epsilon2;
    if (numStates <= params.stateCountLimit3) return params.epsilon3;
    return params.epsilon4;
}

bool IsZeroOrNan(double v) { return v == 0.0 || std::isnan(v); }

// A node's lambda after the propagation: its evidence times the (now
// normalised) messages of its children.
void FormFinalLambda(SampleNode& node) {
    node.NormalizeMessages(true);
    for (int s = 0; s < node.numStates; ++s) node.lambdaPrev[s] = node.evidenceVector()[s];
    if (node.evidence >= 0) return;
    for (int s = 0; s < node.numStates; ++s)
        for (int ch = 0; ch < node.numChildren; ++ch) node.lambdaPrev[s] *= node.lambdaMsgs()[ch * node.numStates + s];
}

void FormLambdasInRange(SampleNet& net, int begin, int end) {
    for (int i = begin; i < end; ++i) FormFinalLambda(*net.nodes[i]);
}

void WeighTableByLambda(const SampleNode& node, double* importance) {
    const int entries = node.cpt->data.numElements;
    for (int k = 0; k < entries; ++k) importance[k] = node.cpt->data[k] * node.lambdaPrev[k % node.numStates];
}

void NormalizeColumns(const SampleNode& node, double* importance) {
    const int n = node.numStates;
    if (n < 1) return;
    const int columns = node.cpt->data.numElements / n;
    for (int c = 0; c < columns; ++c) {
        double* column = importance + c * n;
        double total = 0.0;
        for (int s = 0; s < n; ++s) total += column[s];
        for (int s = 0; s < n; ++s) column[s] = total > 0.0 ? column[s] / total : 1.0 / n;
    }
}

// Possible but tiny probabilities of a node's table are raised to epsilon;
// the mass is taken back in equal shares from the entries above it.
void RaiseTinyEntries(const SampleNet& net, const SampleNode& node, double* table, bool makeUniform) {
    if (!node.changeFlag) return;
    const double epsilon = makeUniform ? 0.0 : EpsilonFor(*net.adapter->GetEPISParams(), node.numStates);
    int columns = 1;
    for (int j = 0; j < node.parents.numElements; ++j) columns *= net.nodes[node.parents[j]]->numStates;
    if (node.parents.numElements > 0 && columns < 1) return;

    const int n = node.numStates;
    for (int c = 0; c < columns; ++c) {
        double* column = table + c * n;
        int nonZero = 0;
        for (int s = 0; s < n; ++s)
            if (!IsZeroOrNan(column[s])) ++nonZero;
        if (makeUniform) {
            for (int s = 0; s < n; ++s) column[s] = IsZeroOrNan(column[s]) ? 0.0 : 1.0 / nonZero;
            continue;
        }
        double added = 0.0;
        int raised = 0;
        for (int s = 0; s < n; ++s) {
            if (column[s] < epsilon && column[s] != 0.0) {
                added += epsilon - column[s];
                column[s] = epsilon;
                ++raised;
            }
        }
        const int donors = nonZero - raised;
        if (donors <= 0) continue;
        const double share = added / static_cast<double>(donors);
        for (int s = 0; s < n; ++s)
            if (column[s] > epsilon) column[s] -= share;
    }
}

// Every step reads and writes the node's own tables and messages alone, so
// ranges of nodes may be built side by side.
void BuildRange(SampleNet& net, int begin, int end) {
    FormLambdasInRange(net, begin, end);
    for (int i = begin; i < end; ++i) posterior_tables::BuildInto(net, i, net.nodes[i]->importanceTable->data.data);
}

// Calls work(begin, end) over all nodes, on the host's threads if it lends any.
template <typename Work>
void ForAllNodes(SampleNet& net, Work work) {
    if (node_tasks::Shared(net)) {
        node_tasks::ForRanges(net, work);
    } else {
        work(0, net.nodeCount);
    }
}

}  // namespace

namespace posterior_tables {

void Build(SampleNet& net) {
    ForAllNodes(net, [&](int begin, int end) { BuildRange(net, begin, end); });
}

void FormFinalLambdas(SampleNet& net) {
    ForAllNodes(net, [&](int begin, int end) { FormLambdasInRange(net, begin, end); });
}

void BuildInto(const SampleNet& net, int index, double* table) {
    const SampleNode& node = *net.nodes[index];
    WeighTableByLambda(node, table);
    NormalizeColumns(node, table);
    if (node.evidence < 0) RaiseTinyEntries(net, node, table, false);
}

}  // namespace posterior_tables

void SampleNet::InitPosteriorTable(int index, bool makeUniform) {
    RaiseTinyEntries(*this, *nodes[index], nodes[index]->importanceTable->data.data, makeUniform);
}
