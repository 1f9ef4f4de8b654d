#include "qvr_int_array.h"

#include <algorithm>

QVR_intArray& QVR_intArray::operator=(const QVR_intArray& other) {
    if (this == &other) return *this;
    SetSize(other.numElements);
    std::copy(other.Entries(), other.Entries() + other.numElements, Entries());
    return *this;
}

void QVR_intArray::SetSize(int n) {
    if (n > capacity) {
        int* grown = new int[n];
        ReleaseHeap();
        heap = grown;
        capacity = n;
    } else if (n <= kInlineRoom) {
        ReleaseHeap();
    }
    numElements = n > 0 ? n : 0;
}

void QVR_intArray::ReleaseHeap() {
    if (OnHeap()) delete[] heap;
    capacity = kInlineRoom;
}
