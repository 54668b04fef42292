#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace velmora::testing {

// The built library as a spooler sees it: its exports, and the slots of the tables that they
// return, counted from 1. Nothing here uses the library's own headers.

using EnumPorts2Entry = BOOL(WINAPI*)(HANDLE, wchar_t*, DWORD, BYTE*, DWORD, DWORD*, DWORD*);
using EnumPortsWEntry = BOOL(WINAPI*)(wchar_t*, DWORD, BYTE*, DWORD, DWORD*, DWORD*);
using EnumPortsAEntry = BOOL(WINAPI*)(char*, DWORD, BYTE*, DWORD, DWORD*, DWORD*);
using OpenPort2Entry = BOOL(WINAPI*)(HANDLE, const wchar_t*, HANDLE*);
using OpenPortWEntry = BOOL(WINAPI*)(const wchar_t*, HANDLE*);
using OpenPortAEntry = BOOL(WINAPI*)(const char*, HANDLE*);
using OpenPortExWEntry = BOOL(WINAPI*)(const wchar_t*, const wchar_t*, HANDLE*, void*);
using PortTransfer = BOOL(WINAPI*)(HANDLE, BYTE*, DWORD, DWORD*);
using PortCall = BOOL(WINAPI*)(HANDLE);
using XcvOpenPortEntry = BOOL(WINAPI*)(HANDLE, const wchar_t*, ACCESS_MASK, HANDLE*);
using XcvDataPortEntry = DWORD(WINAPI*)(HANDLE, const wchar_t*, const void*, DWORD, void*, DWORD,
                                        DWORD*);

/// A table of entries after an optional size field.
class Table {
  public:
    /// `firstSlot` is 1 after a size field and 0 in the ANSI generation's bare table.
    Table(const void* address, int firstSlot)
        : slots_(static_cast<const void* const*>(address)), firstSlot_(firstSlot) {}

    DWORD size() const { return *reinterpret_cast<const DWORD*>(slots_); }
    const void* slot(int number) const { return slots_[number - 1 + firstSlot_]; }

    template <class Function>
    Function entry(int number) const {
        Function function = nullptr;
        const void* address = slot(number);
        std::memcpy(&function, &address, sizeof function);
        return function;
    }

  private:
    const void* const* slots_;
    int firstSlot_;
};

/// Loads Velmora.dll from the folder of the test program, once for the life of the process.
class BuiltDll {
  public:
    static constexpr int kAnsiSlots = 13;

    BuiltDll() : module_(LoadLibraryA("Velmora.dll")) { EXPECT_NE(module_, nullptr); }

    HMODULE module() const { return module_; }
    std::string path() const {
        char text[MAX_PATH] = {};
        GetModuleFileNameA(module_, text, MAX_PATH);
        return text;
    }

    template <class Function>
    Function symbol(const char* name) const {
        return reinterpret_cast<Function>(
            reinterpret_cast<void (*)()>(GetProcAddress(module_, name)));
    }

    Table ui() const { return {symbol<const void*(WINAPI*)()>("InitializePrintMonitorUI")(), 1}; }
    Table monitor2() const {
        return {symbol<const void*(WINAPI*)(void*, HANDLE*)>("InitializePrintMonitor2")(nullptr,
                                                                                        nullptr),
                1};
    }
    Table monitorEx() const {
        return {symbol<const void*(WINAPI*)(wchar_t*)>("InitializePrintMonitor")(nullptr), 1};
    }
    /// The thirteen pointers are copied into `storage`, which must hold at least that many.
    Table monitorAnsi(const void** storage) const {
        EXPECT_TRUE(symbol<BOOL(WINAPI*)(const char*, const void**)>("InitializeMonitorEx")(
            nullptr, storage));
        return {storage, 0};
    }

  private:
    HMODULE module_;
};

}  // namespace velmora::testing
