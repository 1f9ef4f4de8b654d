#pragma once

// Growable int array with room for four ints inside the object, so that the
// short coordinate, dimension and parent lists the engine builds never touch
// the heap. The room and the heap pointer share their bytes: the engine keeps
// several of these per node, and on networks of millions of nodes every byte
// of the object counts.
class QVR_intArray {
public:
    static constexpr int kInlineRoom = 4;

    QVR_intArray() = default;
    QVR_intArray(const QVR_intArray& other) { *this = other; }
    QVR_intArray& operator=(const QVR_intArray& other);
    ~QVR_intArray() { ReleaseHeap(); }

    // Afterwards there is room for n ints and the element count is n; contents
    // are not kept.
    void SetSize(int n);

    int* Entries() const { return OnHeap() ? heap : const_cast<int*>(room); }
    int& Subscript(int i) const { return Entries()[i]; }
    int& operator[](int i) const { return Entries()[i]; }
    bool OnHeap() const { return capacity > kInlineRoom; }

    int numElements = 0;

private:
    void ReleaseHeap();

    int capacity = kInlineRoom;
    union {
        int* heap;
        int room[kInlineRoom] = {};
    };
};
