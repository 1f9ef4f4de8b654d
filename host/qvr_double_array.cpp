#include "qvr_double_array.h"

#include <algorithm>

QVR_doubleArray::QVR_doubleArray(const QVR_doubleArray& other) { *this = other; }

QVR_doubleArray& QVR_doubleArray::operator=(const QVR_doubleArray& other) {
    if (this == &other) return *this;
    SetSize(other.numElements);
    std::copy(other.data, other.data + other.numElements, data);
    return *this;
}

void QVR_doubleArray::SetSize(int n) {
    if (n == numElements && !borrowed) return;
    double* fresh = n > 0 ? new double[n] : nullptr;
    CleanUp();
    data = fresh;
    numElements = n > 0 ? n : 0;
}

void QVR_doubleArray::Borrow(double* storage, int n) {
    CleanUp();
    data = storage;
    numElements = n;
    borrowed = true;
}

void QVR_doubleArray::CleanUp() {
    if (!borrowed) delete[] data;
    borrowed = false;
    data = nullptr;
    numElements = 0;
}
