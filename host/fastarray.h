#pragma once

#include <algorithm>

// List with room for N entries inside the object; it moves to the heap only
// when a filler needs more, so short parent and child lists cost no allocation.
template <typename T, int N, typename SizeT>
class fastarray {
public:
    fastarray() = default;
    fastarray(const fastarray&) = delete;
    fastarray& operator=(const fastarray&) = delete;
    ~fastarray() {
        if (capacity > N) delete[] items;
    }

    void push_back(const T& value) {
        if (count == capacity) Grow(capacity * 2);
        items[count++] = value;
    }
    T& operator[](SizeT i) { return items[i]; }
    const T& operator[](SizeT i) const { return items[i]; }
    SizeT size() const { return count; }

    T* items = room;
    SizeT capacity = N;
    SizeT count = 0;

private:
    void Grow(SizeT newCapacity) {
        T* grown = new T[newCapacity];
        std::copy(items, items + count, grown);
        if (capacity > N) delete[] items;
        items = grown;
        capacity = newCapacity;
    }
    T room[N] = {};
};
