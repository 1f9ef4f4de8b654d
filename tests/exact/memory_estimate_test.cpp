// Heap use of exact inference, counted by replacing the global allocation
// functions of this test program, against the estimate it refuses by.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>

#include "lib/exact/junction_tree.h"
#include "lib/formats/formats.h"

namespace {

// Bytes currently allocated, and the most since the last reset.
std::size_t live = 0;
std::size_t peak = 0;

// Each block carries its size in front, kept at the alignment new promises.
constexpr std::size_t kHeader = alignof(std::max_align_t);

void* allocate(std::size_t size) {
    void* block = std::malloc(size + kHeader);
    if (!block) throw std::bad_alloc();
    *static_cast<std::size_t*>(block) = size;
    live += size;
    if (live > peak) peak = live;
    return static_cast<char*>(block) + kHeader;
}

void release(void* pointer) noexcept {
    if (!pointer) return;
    void* block = static_cast<char*>(pointer) - kHeader;
    live -= *static_cast<std::size_t*>(block);
    std::free(block);
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* pointer) noexcept { release(pointer); }
void operator delete[](void* pointer) noexcept { release(pointer); }
void operator delete(void* pointer, std::size_t) noexcept { release(pointer); }
void operator delete[](void* pointer, std::size_t) noexcept { release(pointer); }
// The library's nothrow forms need not come through the ones above (under
// the address sanitizer they do not), and std::stable_sort's buffer uses them.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return allocate(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
void operator delete(void* pointer, const std::nothrow_t&) noexcept { release(pointer); }

namespace samplenet {
namespace {

struct Measured {
    std::size_t estimate;
    std::size_t peakBytes;  // above what was allocated before the tree
};

Measured measureExact(const Network& network, const Evidence& evidence) {
    const std::size_t before = live;
    peak = live;
    std::size_t estimate = 0;
    {
        const JunctionTree tree(network);
        estimate = tree.statistics().estimatedBytes;
        tree.infer(evidence);
    }
    return {estimate, peak - before};
}

// The estimate counts the clique tables, the working copy and the separator
// buffers, which are all alive at the peak: it must not exceed what is
// really allocated, and with the tree's structure (at most 2 KiB per
// variable) it must cover all of it.
TEST(ExactMemoryEstimate, BoundsWhatTheJunctionTreeAllocates) {
    for (const char* name : {"child", "insurance", "alarm", "hailfinder", "win95pts", "andes", "pigs"}) {
        SCOPED_TRACE(name);
        const Network network = readNetwork(std::string(SAMPLENET_TEST_DATA) + "/networks/" + name + ".bif.gz");
        Evidence evidence;
        evidence.hard[network.size() - 1] = 0;
        const Measured measured = measureExact(network, evidence);
        EXPECT_LE(measured.estimate, measured.peakBytes);
        EXPECT_LE(measured.peakBytes, measured.estimate + 2048 * static_cast<std::size_t>(network.size()))
            << measured.estimate << " estimated, " << measured.peakBytes << " allocated";
    }
}

}  // namespace
}  // namespace samplenet
