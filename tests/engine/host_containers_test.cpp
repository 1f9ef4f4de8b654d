#include <gtest/gtest.h>

#include <vector>

#include "host/fastarray.h"
#include "host/qvr_clock.h"
#include "host/qvr_dmatrix.h"
#include "host/qvr_node.h"

namespace {

QVR_intArray dims(std::initializer_list<int> sizes) {
    QVR_intArray result;
    result.SetSize(static_cast<int>(sizes.size()));
    int i = 0;
    for (int s : sizes) result[i++] = s;
    return result;
}

TEST(IntArray, SetSizeSetsCountAndCopiesKeepEverything) {
    QVR_intArray small;
    EXPECT_EQ(small.numElements, 0);
    small.SetSize(3);
    EXPECT_EQ(small.numElements, 3);
    EXPECT_FALSE(small.OnHeap());
    for (int i = 0; i < 3; ++i) small[i] = 10 + i;

    QVR_intArray large;
    large.SetSize(100);  // beyond the inline room
    EXPECT_TRUE(large.OnHeap());
    for (int i = 0; i < 100; ++i) large[i] = i * i;
    QVR_intArray copy(large);
    EXPECT_EQ(copy.numElements, 100);
    EXPECT_NE(copy.Entries(), large.Entries());
    for (int i = 0; i < 100; ++i) ASSERT_EQ(copy[i], i * i);
    large[5] = -1;
    EXPECT_EQ(copy[5], 25);

    copy.SetSize(50);  // shorter, still on the heap it has
    EXPECT_EQ(copy.numElements, 50);
    EXPECT_TRUE(copy.OnHeap());
    copy.SetSize(2);  // back inside the object
    EXPECT_EQ(copy.numElements, 2);
    EXPECT_FALSE(copy.OnHeap());
    copy = small;
    EXPECT_EQ(copy.numElements, 3);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(copy[i], 10 + i);
    copy = large;  // a long list over a short one moves it to the heap
    EXPECT_EQ(copy[5], -1);
    EXPECT_EQ(copy[99], 99 * 99);
}

// A host lends its own tables without a copy; they stay the host's.
TEST(DoubleArray, BorrowedEntriesAreUsedInPlaceAndNeverFreedOrOverwrittenByCopies) {
    std::vector<double> storage{0.25, 0.75, 0.5};
    QVR_doubleArray view;
    view.SetSize(7);
    view.Borrow(storage.data(), 3);
    EXPECT_EQ(view.data, storage.data());
    view[1] = 0.125;
    EXPECT_EQ(storage[1], 0.125);

    QVR_doubleArray copy(view);
    EXPECT_NE(copy.data, storage.data());
    EXPECT_EQ(copy.numElements, 3);
    EXPECT_EQ(copy[1], 0.125);
    copy[0] = 9.0;
    EXPECT_EQ(storage[0], 0.25);
    view = copy;  // assigning gives the view entries of its own
    EXPECT_NE(view.data, storage.data());
    EXPECT_EQ(storage[0], 0.25);

    view.Borrow(storage.data(), 3);
    view.SetSize(3);  // same count, but now owned
    EXPECT_NE(view.data, storage.data());
    view.Borrow(storage.data(), 3);
    view.CleanUp();
    EXPECT_EQ(view.data, nullptr);
    EXPECT_EQ(view.numElements, 0);
    EXPECT_EQ(storage, (std::vector<double>{0.25, 0.125, 0.5}));
}

TEST(Dmatrix, LastDimensionIsFastestInEveryAddressingMode) {
    QVR_Dmatrix table(dims({2, 4, 3}));
    ASSERT_EQ(table.data.numElements, 24);
    for (int k = 0; k < 24; ++k) table.Subscript(k) = k;

    // A 100-entry coordinate list: only the first three entries count.
    QVR_intArray coordinates;
    coordinates.SetSize(100);
    for (int i = 0; i < 100; ++i) coordinates[i] = 7;
    coordinates[0] = 1;
    coordinates[1] = 2;
    coordinates[2] = 1;
    EXPECT_EQ(table.Subscript(coordinates), 1 * 12 + 2 * 3 + 1);

    int a = 1, b = 3, c = 2;
    const int* refs[] = {&a, &b, &c};
    EXPECT_EQ(table.CoordinatesToIndex(refs), 1 * 12 + 3 * 3 + 2);
    b = 0;  // the pointers are read at each call
    EXPECT_EQ(table.CoordinatesToIndex(refs), 1 * 12 + 2);

    QVR_Dmatrix oneDimension(dims({5}));
    int state = 4;
    const int* own[] = {&state};
    EXPECT_EQ(oneDimension.CoordinatesToIndex(own), 4);
}

TEST(Dmatrix, CopyIsDeepAndResizeKeepsAddressingInStep) {
    QVR_Dmatrix table(dims({3, 2}));
    for (int k = 0; k < 6; ++k) table.data[k] = k;
    QVR_Dmatrix copy(table);
    table.data[0] = 100.0;
    EXPECT_EQ(copy.data[0], 0.0);
    EXPECT_EQ(copy.GetSizeOfDimension(0), 3);

    copy.ResizeDimension(1, 5);
    EXPECT_EQ(copy.data.numElements, 15);
    QVR_intArray at = dims({2, 4});
    copy.Subscript(at) = 1.5;
    EXPECT_EQ(copy.data[2 * 5 + 4], 1.5);
}

TEST(Fastarray, GrowsPastInlineRoomKeepingEntries) {
    fastarray<int, 24, int> list;
    EXPECT_EQ(list.capacity, 24);
    for (int i = 0; i < 60; ++i) list.push_back(i * 3);
    EXPECT_EQ(list.count, 60);
    EXPECT_GE(list.capacity, 60);
    for (int i = 0; i < 60; ++i) ASSERT_EQ(list.items[i], i * 3);
}

TEST(Clock, FixedReadingsUntilReleased) {
    qvr_clock::FixReadings(12345, 678);
    long out = 0;
    EXPECT_EQ(QVR_time(&out), 12345);
    EXPECT_EQ(out, 12345);
    EXPECT_EQ(QVR_clock(), 678);
    qvr_clock::UseRealClock();
    EXPECT_GT(QVR_time(nullptr), 1600000000);  // seconds since 1970, after 2020
}

}  // namespace
