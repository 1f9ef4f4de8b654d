#pragma once

// Growable int array with room for eight ints inside the object, so that the
// short coordinate and dimension lists the engine builds never touch the heap.
class QVR_intArray {
public:
    static constexpr int kInlineRoom = 8;

    QVR_intArray() : data(inlineRoom) {}
    QVR_intArray(const QVR_intArray& other);
    QVR_intArray& operator=(const QVR_intArray& other);
    ~QVR_intArray() { ReleaseHeap(); }

    // Afterwards there is room for n ints and the element count is n; contents
    // are not kept.
    void SetSize(int n);

    int& Subscript(int i) const { return data[i]; }
    int& operator[](int i) const { return data[i]; }

    int* data;
    int numElements = 0;
    int allocatedSize = 0;

private:
    void ReleaseHeap();
    int inlineRoom[kInlineRoom] = {};
};
