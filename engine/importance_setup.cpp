#include "engine/samplenet.h"

namespace {

void Release(QVR_Dmatrix*& table) {
    delete table;
    table = nullptr;
}

}  // namespace

void SampleNet::SetParameterForImportanceSampling() {
    QVR_intArray dimensions;
    dimensions.SetSize(2);
    for (int i = 0; i < nodeCount; ++i) {
        SampleNode& node = *nodes[i];
        node.importanceTable = new QVR_Dmatrix(*node.cpt);
        node.totalTable = new QVR_Dmatrix(*node.cpt);
        for (QVR_doubleArray* vector : {&node.piPrev, &node.pi, &node.beliefPrev, &node.belief,
                                        &node.lambdaPrev, &node.lambda, &node.evidenceVector})
            vector->SetSize(node.numStates);

        node.parentStrides.SetSize(node.numParents + 1);
        node.parentStrides[node.numParents] = 1;
        for (int k = node.numParents; k >= 1; --k)
            node.parentStrides[k - 1] = node.parentStrides[k] * node.parentStateCounts[k - 1];

        dimensions[0] = node.numChildren;
        dimensions[1] = node.numStates;
        node.lambdaMsgs = new QVR_Dmatrix(dimensions);
        node.lambdaMsgsNext = new QVR_Dmatrix(dimensions);

        // Rows as wide as the largest parent; narrower parents leave spare
        // entries at the end of their row.
        int widestParent = 0;
        for (int k = 0; k < node.numParents; ++k)
            if (node.parentStateCounts[k] > widestParent) widestParent = node.parentStateCounts[k];
        dimensions[0] = node.numParents;
        dimensions[1] = widestParent;
        node.piMsgs = new QVR_Dmatrix(dimensions);
        node.piMsgsNext = new QVR_Dmatrix(dimensions);

        node.piProductPrev.SetSize(node.parentStrides[0]);
        node.piProduct.SetSize(node.parentStrides[0]);
        for (int k = 0; k < node.totalTable->data.numElements; ++k) node.totalTable->data[k] = 0.0;
    }
}

void SampleNet::ClearImportanceParameter() {
    for (int i = 0; i < nodeCount; ++i) {
        SampleNode& node = *nodes[i];
        Release(node.importanceTable);
        Release(node.totalTable);
        Release(node.lambdaMsgs);
        Release(node.lambdaMsgsNext);
        Release(node.piMsgs);
        Release(node.piMsgsNext);
    }
}
