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

// Each node's lambda after the propagation: its evidence times the (now
// normalised) messages of its children.
void FormFinalLambdas(SampleNet& net, int begin, int end) {
    for (int i = begin; i < end; ++i) {
        SampleNode& node = *net.nodes[i];
        node.NormalizeMessages(true);
        for (int s = 0; s < node.numStates; ++s) node.lambdaPrev[s] = node.evidenceVector[s];
        if (node.evidence >= 0) continue;
        for (int s = 0; s < node.numStates; ++s)
            for (int ch = 0; ch < node.numChildren; ++ch)
                node.lambdaPrev[s] *= node.lambdaMsgs->data[ch * node.numStates + s];
    }
}

void WeighTablesByLambda(SampleNet& net, int begin, int end) {
    for (int i = begin; i < end; ++i) {
        SampleNode& node = *net.nodes[i];
        QVR_doubleArray& importance = node.importanceTable->data;
        for (int k = 0; k < importance.numElements; ++k)
            importance[k] = node.cpt->data[k] * node.lambdaPrev[k % node.numStates];
    }
}

void NormalizeColumns(SampleNet& net, int begin, int end) {
    for (int i = begin; i < end; ++i) {
        SampleNode& node = *net.nodes[i];
        const int n = node.numStates;
        if (n < 1) continue;
        const int columns = node.importanceTable->data.numElements / n;
        for (int c = 0; c < columns; ++c) {
            double* column = node.importanceTable->data.data + c * n;
            double total = 0.0;
            for (int s = 0; s < n; ++s) total += column[s];
            for (int s = 0; s < n; ++s) column[s] = total > 0.0 ? column[s] / total : 1.0 / n;
        }
    }
}

// Every step reads and writes the node's own tables and messages alone, so
// ranges of nodes may be built side by side.
void BuildRange(SampleNet& net, int begin, int end) {
    FormFinalLambdas(net, begin, end);
    WeighTablesByLambda(net, begin, end);
    NormalizeColumns(net, begin, end);
    for (int i = begin; i < end; ++i)
        if (net.nodes[i]->evidence < 0) net.InitPosteriorTable(i, false);
}

}  // namespace

namespace posterior_tables {

void Build(SampleNet& net) {
    if (node_tasks::Shared(net)) {
        node_tasks::ForRanges(net, [&](int begin, int end) { BuildRange(net, begin, end); });
    } else {
        BuildRange(net, 0, net.nodeCount);
    }
}

}  // namespace posterior_tables

void SampleNet::InitPosteriorTable(int index, bool makeUniform) {
    SampleNode& node = *nodes[index];
    if (!node.changeFlag) return;
    const double epsilon = makeUniform ? 0.0 : EpsilonFor(*adapter->GetEPISParams(), node.numStates);
    int columns = 1;
    for (int j = 0; j < node.parents.numElements; ++j) columns *= nodes[node.parents[j]]->numStates;
    if (node.parents.numElements > 0 && columns < 1) return;

    const int n = node.numStates;
    for (int c = 0; c < columns; ++c) {
        double* column = node.importanceTable->data.data + c * n;
        int nonZero = 0;
        for (int s = 0; s < n; ++s)
            if (!IsZeroOrNan(column[s])) ++nonZero;
        if (makeUniform) {
            for (int s = 0; s < n; ++s) column[s] = IsZeroOrNan(column[s]) ? 0.0 : 1.0 / nonZero;
            continue;
        }
        // Possible but tiny probabilities are raised to epsilon; the mass is
        // taken back in equal shares from the entries above it.
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
