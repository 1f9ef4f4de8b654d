#include "qvr_dmatrix.h"

QVR_Dmatrix::QVR_Dmatrix(const QVR_intArray& dims) : dimensions(dims) { Reshape(); }

void QVR_Dmatrix::ResizeDimension(int dimension, int size) {
    dimensions[dimension] = size;
    Reshape();
}

void QVR_Dmatrix::Reshape() {
    int total = 1;
    for (int i = 0; i < dimensions.numElements; ++i) total *= dimensions[i];
    data.SetSize(total);
}
