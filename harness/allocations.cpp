#include "harness/allocations.h"

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

namespace velmora::testing {
namespace {

constexpr std::size_t kNever = std::numeric_limits<std::size_t>::max();

// The watchdog thread of harness/main.cpp allocates too when it starts.
std::atomic<std::size_t> allocations = 0;
std::atomic<std::size_t> bytes = 0;
std::atomic<std::size_t> live = 0;
std::atomic<std::size_t> liveBytes = 0;
std::atomic<std::size_t> failingIndex = kNever;

/// Before each block, so that delete knows its size without being told.
union Header {
    std::size_t size;
    std::max_align_t alignment;
};

void* allocate(std::size_t size) noexcept {
    const std::size_t index = allocations++;
    if (index == failingIndex) return nullptr;
    void* const memory = std::malloc(sizeof(Header) + size);
    if (memory == nullptr) return nullptr;
    bytes += size;
    liveBytes += size;
    ++live;
    auto* const header = new (memory) Header;
    header->size = size;
    return header + 1;
}

void release(void* block) noexcept {
    if (block == nullptr) return;
    Header* const header = static_cast<Header*>(block) - 1;
    liveBytes -= header->size;
    --live;
    std::free(header);
}

void* allocateOrThrow(std::size_t size) {
    void* const block = allocate(size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

}  // namespace

AllocationCounts allocationCounts() noexcept {
    return {allocations, bytes, live, liveBytes};
}

FailingAllocation::FailingAllocation(std::size_t index) noexcept {
    failingIndex = allocations + index;
}

FailingAllocation::~FailingAllocation() {
    failingIndex = kNever;
}

bool FailingAllocation::happened() const noexcept {
    return allocations > failingIndex;
}

}  // namespace velmora::testing

void* operator new(std::size_t size) {
    return velmora::testing::allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
    return velmora::testing::allocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return velmora::testing::allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return velmora::testing::allocate(size);
}
void operator delete(void* block) noexcept {
    velmora::testing::release(block);
}
void operator delete[](void* block) noexcept {
    velmora::testing::release(block);
}
void operator delete(void* block, std::size_t) noexcept {
    velmora::testing::release(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    velmora::testing::release(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    velmora::testing::release(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
    velmora::testing::release(block);
}
