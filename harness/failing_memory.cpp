#include "harness/failing_memory.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>

namespace velmora::testing {
namespace {

std::atomic<bool> failing{false};
std::atomic<std::size_t> allocations{0};
std::atomic<std::size_t> first{0};
std::atomic<std::size_t> length{0};
std::atomic<std::size_t> failures{0};

bool fails() noexcept {
    if (!failing) return false;
    const std::size_t index = allocations++;
    if (index < first || index - first >= length) return false;
    ++failures;
    errno = ENOMEM;
    return true;
}

// All modules of the process share the platform's C runtime, so this program's functions are those
// that the module would have called.

void* __cdecl failingMalloc(std::size_t size) {
    return fails() ? nullptr : std::malloc(size);
}

void* __cdecl failingCalloc(std::size_t count, std::size_t size) {
    return fails() ? nullptr : std::calloc(count, size);
}

void* __cdecl failingRealloc(void* block, std::size_t size) {
    return fails() ? nullptr : std::realloc(block, size);
}

}  // namespace

FailingMemory::FailingMemory(HMODULE module)
    : malloc_("msvcrt.dll", "malloc", reinterpret_cast<void (*)()>(&failingMalloc), module),
      calloc_("msvcrt.dll", "calloc", reinterpret_cast<void (*)()>(&failingCalloc), module),
      realloc_("msvcrt.dll", "realloc", reinterpret_cast<void (*)()>(&failingRealloc), module) {}

void FailingMemory::fail(std::size_t index, std::size_t count) noexcept {
    allocations = 0;
    first = index;
    length = count;
    failures = 0;
    failing = true;
}

std::size_t FailingMemory::succeed() noexcept {
    failing = false;
    return failures;
}

}  // namespace velmora::testing
