#pragma once

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <span>
#include <stdexcept>
#include <vector>

#include "platform/library.h"

namespace velmora::testing {

/// Counts this process's handles in the list of all handles of the system. GetProcessHandleCount
/// would be simpler, but Wine's always returns 0.
inline std::size_t handleCount() {
    struct Entry {
        ULONG process;
        BYTE type;
        BYTE flags;
        USHORT handle;
        void* object;
        ULONG access;
    };
    struct Table {
        ULONG count;
        Entry entries[1];
    };
    constexpr ULONG kSystemHandleInformation = 16;
    const auto query = librarySymbol<LONG(WINAPI*)(ULONG, void*, ULONG, ULONG*)>(
        GetModuleHandleA("ntdll.dll"), "NtQuerySystemInformation");
    std::vector<std::byte> area(4 << 20);
    if (query(kSystemHandleInformation, area.data(), static_cast<ULONG>(area.size()), nullptr) !=
        0) {
        throw std::runtime_error("handles cannot be counted");
    }
    const auto* const table = reinterpret_cast<const Table*>(area.data());
    const std::span entries(table->entries, table->count);
    return static_cast<std::size_t>(
        std::ranges::count(entries, GetCurrentProcessId(), &Entry::process));
}

}  // namespace velmora::testing
