#include <windows.h>

#include <array>
#include <atomic>
#include <cstdlib>

// The C++ runtime makes semaphores for its own locks and never closes some of them: one more handle
// of the process with each load. The linker (--wrap, see CMakeLists.txt) hands the library's
// pointers to these two functions to ours, which record the semaphores made; those left at the end
// of unloading are closed. The library's own code makes its semaphores by CreateSemaphoreA.

namespace velmora {
namespace {

using CreateFunction = HANDLE(WINAPI*)(LPSECURITY_ATTRIBUTES, LONG, LONG, LPCWSTR);
using CloseFunction = BOOL(WINAPI*)(HANDLE);

#ifdef __i386__
extern "C" const CreateFunction realCreate __asm__("___real__imp__CreateSemaphoreW@16");
extern "C" const CloseFunction realClose __asm__("___real__imp__CloseHandle@4");
#else
extern "C" const CreateFunction realCreate __asm__("__real___imp_CreateSemaphoreW");
extern "C" const CloseFunction realClose __asm__("__real___imp_CloseHandle");
#endif

/// The runtime has four; one that finds no place here is left open.
std::array<std::atomic<HANDLE>, 16> open{};

HANDLE WINAPI createAndNote(LPSECURITY_ATTRIBUTES security, LONG count, LONG maximum,
                            LPCWSTR name) {
    const HANDLE semaphore = realCreate(security, count, maximum, name);
    if (semaphore == nullptr) return nullptr;
    for (std::atomic<HANDLE>& place : open) {
        HANDLE none = nullptr;
        if (place.compare_exchange_strong(none, semaphore)) break;
    }
    return semaphore;
}

BOOL WINAPI closeAndForget(HANDLE handle) {
    // Before it is closed: afterwards the same value may be somebody else's handle.
    for (std::atomic<HANDLE>& place : open) {
        HANDLE noted = handle;
        if (handle != nullptr && place.compare_exchange_strong(noted, nullptr)) break;
    }
    return realClose(handle);
}

}  // namespace

#ifdef __i386__
extern "C" const CreateFunction noteCreated __asm__("___wrap__imp__CreateSemaphoreW@16");
extern "C" const CloseFunction noteClosed __asm__("___wrap__imp__CloseHandle@4");
#else
extern "C" const CreateFunction noteCreated __asm__("__wrap___imp_CreateSemaphoreW");
extern "C" const CloseFunction noteClosed __asm__("__wrap___imp_CloseHandle");
#endif
extern "C" const CreateFunction noteCreated = createAndNote;
extern "C" const CloseFunction noteClosed = closeAndForget;

}  // namespace velmora

namespace __gnu_cxx {
void __freeres();  // libstdc++: frees the memory set aside for exceptions thrown without memory
}

namespace velmora {
namespace {

/// Made before every other object of the library and destroyed after them, locks of the runtime
/// included.
struct LastOfAll {
    LastOfAll() = default;
    ~LastOfAll() {
        __gnu_cxx::__freeres();
        for (std::atomic<HANDLE>& place : open)
            if (const HANDLE semaphore = place.exchange(nullptr)) realClose(semaphore);
    }
};

[[gnu::init_priority(101)]] const LastOfAll lastOfAll;

}  // namespace
}  // namespace velmora
