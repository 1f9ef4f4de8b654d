#include "lib/sampling/spent_engine_buffers.h"

#include "engine/samplenet.h"

namespace samplenet {

namespace {

void release(QVR_Dmatrix*& table) {
    delete table;
    table = nullptr;
}

}  // namespace

void releasePropagationBuffers(SampleNet& net) {
    for (int i = 0; i < net.nodeCount; ++i) {
        SampleNode& node = *net.nodes[i];
        for (QVR_Dmatrix** table :
             {&node.totalTable, &node.lambdaMsgs, &node.lambdaMsgsNext, &node.piMsgs, &node.piMsgsNext})
            release(*table);
        for (QVR_doubleArray* vector : {&node.lambdaPrev, &node.lambda, &node.evidenceVector, &node.piProductPrev,
                                        &node.piProduct, &node.piPrev, &node.pi, &node.beliefPrev, &node.belief})
            vector->CleanUp();
    }
}

}  // namespace samplenet
