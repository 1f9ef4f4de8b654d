#include "engine/samplenode.h"

SampleNode::SampleNode(int states) : numStates(states) { weights.SetSize(numStates); }

SampleNode::SampleNode(int states, double* weightRoom) : numStates(states) {
    weights.Borrow(states > 0 ? weightRoom : nullptr, states > 0 ? states : 0);
}

SampleNode::~SampleNode() = default;

void SampleNode::WriteBeliefsBack(QVR_node* node) {
    NodeValue& value = node->Value();
    QVR_Dmatrix* table = nullptr;
    value.GetValueTable(&table);
    const int n = weights.numElements;
    table->ResizeDimension(0, n);
    for (int i = 0; i < n; ++i) {
        table = nullptr;
        value.GetValueTable(&table);
        table->data[i] = weights[i];
    }
    value.flags |= 2u;
}

void SampleNode::WriteBeliefsDirectBack(double* out) {
    for (int i = 0; i < weights.numElements; ++i) out[i] = weights[i];
}
