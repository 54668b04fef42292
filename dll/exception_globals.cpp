#include "dll/exception_globals.h"

#include <windows.h>

#include <atomic>
#include <cstddef>

// The C++ runtime keeps two fields for each thread for exceptions: the exceptions being handled and
// the number of those in flight (Itanium C++ ABI, "Exception Handling", 2.2.2). Its own place for
// them is emulated thread-local storage: memory from the heap and the library's mutexes at the
// first throw of a thread, and a TLS slot that unloading does not free. A table of our own avoids
// all that: a throw works without any memory, and unloading leaves nothing behind.

namespace velmora {
namespace {

/// `__cxa_eh_globals` as the ABI lays it out, which nothing may be put before. Without
/// constructors: the table takes no room in the file.
struct ThreadGlobals {
    void* caughtExceptions;
    unsigned uncaughtExceptions;
    DWORD owner;  ///< the thread's id, kFree after its end, or kUnused
};

constexpr DWORD kUnused = 0;  ///< never had an owner: a search ends here
constexpr DWORD kFree = 1;    ///< Windows's thread ids are multiples of four

/// More threads than a 32-bit process has room for. Only pages that are used become memory.
constexpr std::size_t kEntries = 4096;

ThreadGlobals table[kEntries];

ThreadGlobals& entryOf(DWORD thread, std::size_t step) noexcept {
    return table[(thread / 4 + step) % kEntries];
}

ThreadGlobals* find(DWORD thread) noexcept {
    for (std::size_t step = 0; step < kEntries; ++step) {
        ThreadGlobals& entry = entryOf(thread, step);
        const DWORD owner = std::atomic_ref(entry.owner).load(std::memory_order_acquire);
        if (owner == thread) return &entry;
        if (owner == kUnused) return nullptr;
    }
    return nullptr;
}

ThreadGlobals* take(DWORD thread) noexcept {
    for (std::size_t step = 0; step < kEntries; ++step) {
        ThreadGlobals& entry = entryOf(thread, step);
        const std::atomic_ref place(entry.owner);
        DWORD owner = place.load(std::memory_order_relaxed);
        while (owner == kUnused || owner == kFree)
            if (place.compare_exchange_weak(owner, thread, std::memory_order_acquire))
                return &entry;
    }
    return nullptr;
}

ThreadGlobals* current() noexcept {
    const DWORD thread = GetCurrentThreadId();
    ThreadGlobals* entry = find(thread);
    if (entry == nullptr) entry = take(thread);
    while (entry == nullptr) {
        // 4,096 threads have thrown and live. An exception needs an entry, so the process ends.
        Sleep(1);
        entry = take(thread);
    }
    return entry;
}

}  // namespace

void releaseExceptionGlobals() noexcept {
    ThreadGlobals* const entry = find(GetCurrentThreadId());
    if (entry == nullptr) return;
    entry->caughtExceptions = nullptr;
    entry->uncaughtExceptions = 0;
    std::atomic_ref(entry->owner).store(kFree, std::memory_order_release);
}

}  // namespace velmora

// Defined here, the runtime's own two are not linked.
namespace __cxxabiv1 {

struct __cxa_eh_globals;

extern "C" __cxa_eh_globals* __cxa_get_globals() noexcept {
    return reinterpret_cast<__cxa_eh_globals*>(velmora::current());
}

extern "C" __cxa_eh_globals* __cxa_get_globals_fast() noexcept {
    return reinterpret_cast<__cxa_eh_globals*>(velmora::current());
}

}  // namespace __cxxabiv1
