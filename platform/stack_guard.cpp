// The stack protector's guard value and failure handler, in place of the compiler's libssp: that
// one opens a cryptographic provider with every load, which loads further libraries from inside a
// library's initialisation.
#include <windows.h>

#include <cstdint>

extern "C" {

std::uintptr_t __stack_chk_guard = 0;

/// A function has written beyond an array on its stack: the process ends at once, without running
/// anything that the overwritten stack leads to. The interrupt is Windows's __fastfail, with the
/// code FAST_FAIL_STACK_COOKIE_CHECK_FAILURE.
[[noreturn]] void __stack_chk_fail() {
    __asm__ volatile("int $0x29" : : "c"(2));
    __builtin_trap();
}

}  // extern "C"

namespace {

/// Runs before all other code of the module, so its sources of randomness are those that need no
/// other library; the compilers of the platform use the same ones.
[[gnu::constructor(101), gnu::no_stack_protector]] void chooseGuard() {
    FILETIME time{};
    GetSystemTimeAsFileTime(&time);
    LARGE_INTEGER counter{};
    QueryPerformanceCounter(&counter);
    const std::uint64_t parts[] = {time.dwLowDateTime,
                                   time.dwHighDateTime,
                                   static_cast<std::uint64_t>(counter.QuadPart),
                                   GetCurrentProcessId(),
                                   GetCurrentThreadId(),
                                   GetTickCount(),
                                   reinterpret_cast<std::uintptr_t>(&time),
                                   reinterpret_cast<std::uintptr_t>(&chooseGuard)};
    // 64-bit FNV-1a over words, and a last mixing of high into low bits.
    std::uint64_t value = 0xCBF29CE484222325;
    for (const std::uint64_t part : parts)
        value = (value ^ part) * 0x100000001B3;
    value ^= value >> 29;
    // A zero byte stops the copying of a text that runs into the guard.
    __stack_chk_guard = static_cast<std::uintptr_t>(value) & ~std::uintptr_t{0xFF};
}

}  // namespace
