#include "qvr_int_array.h"

#include <algorithm>

QVR_intArray::QVR_intArray(const QVR_intArray& other) : data(inlineRoom) {
    *this = other;
}

QVR_intArray& QVR_intArray::operator=(const QVR_intArray& other) {
    if (this == &other) return *this;
    SetSize(other.allocatedSize);
    numElements = other.numElements;
    std::copy(other.data, other.data + other.numElements, data);
    return *this;
}

void QVR_intArray::SetSize(int n) {
    if (n > kInlineRoom && n > allocatedSize) {
        int* grown = new int[n];
        ReleaseHeap();
        data = grown;
    } else if (n <= kInlineRoom) {
        ReleaseHeap();
    }
    allocatedSize = n;
    numElements = n;
}

void QVR_intArray::ReleaseHeap() {
    if (data != inlineRoom) delete[] data;
    data = inlineRoom;
}
