#pragma once

#include "qvr_double_array.h"
#include "qvr_int_array.h"

// Dense table of doubles with any number of dimensions, last dimension
// fastest. Only the sizes are kept: an index is built from the coordinates
// by multiplying and adding dimension after dimension, which gives what a
// dot product with strides would, without a second array per table.
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
        const int* size = dimensions.Entries();
        int index = 0;
        for (int i = 0; i < dimensions.numElements; ++i) index = index * size[i] + coordinates[i];
        return data[index];
    }
    // Each pointer addresses the coordinate of one dimension; this is the
    // per-sample lookup, so it stays inline and allocation-free.
    int CoordinatesToIndex(const int* const* coordinates) const {
        const int* size = dimensions.Entries();
        int index = 0;
        for (int i = 0; i < dimensions.numElements; ++i) index = index * size[i] + *coordinates[i];
        return index;
    }

    QVR_intArray dimensions;
    QVR_doubleArray data;

private:
    void Reshape();
};
