#pragma once

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace velmora::testing {

/// What this process holds of the system's resources. The lowest free handle and the lowest free
/// thread-local slot stand for their counts, which Wine does not report; the third value is the
/// memory that is committed for this process alone.
struct ProcessResources {
    DWORD slot = 0;
    std::size_t handles = 0;
    std::size_t bytes = 0;
};

inline ProcessResources processResources() {
    ProcessResources held;
    held.slot = TlsAlloc();
    TlsFree(held.slot);
    const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    held.handles = reinterpret_cast<std::uintptr_t>(event) / 4;
    CloseHandle(event);
    MEMORY_BASIC_INFORMATION region{};
    for (auto address = std::uintptr_t{0};
         VirtualQuery(reinterpret_cast<void*>(address), &region, sizeof region) != 0;) {
        if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE)
            held.bytes += region.RegionSize;
        const auto next = reinterpret_cast<std::uintptr_t>(region.BaseAddress) + region.RegionSize;
        if (next <= address) break;
        address = next;
    }
    return held;
}

/// The bytes that are allocated in the heaps of this process. The memory committed for the heaps
/// would say less: they keep it after several large blocks were allocated at once.
inline std::size_t usedHeapBytes() {
    std::size_t bytes = 0;
    std::array<HANDLE, 64> heaps{};
    const DWORD count = std::min<DWORD>(GetProcessHeaps(heaps.size(), heaps.data()), heaps.size());
    for (DWORD i = 0; i < count; ++i) {
        PROCESS_HEAP_ENTRY block{};
        HeapLock(heaps[i]);
        while (HeapWalk(heaps[i], &block))
            if ((block.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += block.cbData;
        HeapUnlock(heaps[i]);
    }
    return bytes;
}

}  // namespace velmora::testing
