#pragma once

#include "qvr_double_array.h"
#include "qvr_int_array.h"

// Dense table of doubles with any number of dimensions, last dimension
// fastest. The second int array holds the stride of every dimension, kept in
// step with the sizes so that coordinate lookups are a plain dot product.
class QVR_Dmatrix {
public:
    QVR_Dmatrix() = default;
    explicit QVR_Dmatrix(const QVR_intArray& dimensions);
    QVR_Dmatrix(const QVR_Dmatrix& other) = default;
    QVR_Dmatrix& operator=(const QVR_Dmatrix& other) = default;

    int NumDimensions() const { return dimensions.numElements; }
    int GetSizeOfDimension(int dimension) const { return dimensions[dimension]; }
    void ResizeDimension(int dimension, int size);

    double& Subscript(int index) { return data[index]; }
    // Reads only the first NumDimensions() entries of the coordinate list.
    double& Subscript(QVR_intArray& coordinates) {
        int index = 0;
        for (int i = 0; i < dimensions.numElements; ++i) index += coordinates[i] * strides[i];
        return data[index];
    }
    // Each pointer addresses the coordinate of one dimension; this is the
    // per-sample lookup, so it stays inline and allocation-free.
    int CoordinatesToIndex(const int* const* coordinates) const {
        int index = 0;
        for (int i = 0; i < dimensions.numElements; ++i) index += *coordinates[i] * strides[i];
        return index;
    }

    QVR_intArray dimensions;
    QVR_intArray strides;
    QVR_doubleArray data;

private:
    void Reshape();
};
