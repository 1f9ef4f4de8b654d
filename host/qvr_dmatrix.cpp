#include "qvr_dmatrix.h"

QVR_Dmatrix::QVR_Dmatrix(const QVR_intArray& dims) : dimensions(dims) { Reshape(); }

void QVR_Dmatrix::ResizeDimension(int dimension, int size) {
    dimensions[dimension] = size;
    Reshape();
}

void QVR_Dmatrix::Reshape() {
    const int d = dimensions.numElements;
    strides.SetSize(d);
    int total = 1;
    for (int i = d - 1; i >= 0; --i) {
        strides[i] = total;
        total *= dimensions[i];
    }
    data.SetSize(total);
}
