#include <windows.h>

#include <atomic>
#include <cstdio>
#include <cstring>

// A monitor that forwards to Velmora.dll. Wine's spooler takes the opening of a channel for failed
// if no handle is written; Windows' spooler does not. The shim fills in a handle.
//
// For tests of failures it can also fail instead of the monitor: the text "Fault" in the key
// "Software\\Velmora shim" of HKEY_LOCAL_MACHINE is a command of the channel, the number of calls
// that are carried out first, the number of calls that fail then (0: all), and the status that
// these get; with the status 0 such a call does nothing and says that it is done. "ConfigPort 2 0
// 5"

namespace {

using OpenChannel = BOOL(WINAPI*)(HANDLE, const wchar_t*, ACCESS_MASK, HANDLE*);
using CallChannel = DWORD(WINAPI*)(HANDLE, const wchar_t*, BYTE*, DWORD, BYTE*, DWORD, DWORD*);

/// MONITOR2 as an array: the size field, then the slots from 1.
constexpr int kSlots = 18;
constexpr int kOpenChannelSlot = 15;
constexpr int kCallChannelSlot = 16;
const void* table[kSlots + 1];
OpenChannel openChannel = nullptr;
CallChannel callChannel = nullptr;

struct Fault {
    wchar_t command[64] = L"";
    unsigned first = 0;
    unsigned count = 0;
    unsigned status = 0;
};
Fault fault;
std::atomic<unsigned> calls = 0;

void readFault() {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software\\Velmora shim", 0, KEY_READ, &key) != 0)
        return;
    wchar_t text[128] = L"";
    DWORD size = sizeof text - sizeof text[0];
    if (RegQueryValueExW(key, L"Fault", nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size) ==
        0) {
        std::swscanf(text, L"%63ls %u %u %u", fault.command, &fault.first, &fault.count,
                     &fault.status);
    }
    RegCloseKey(key);
}

DWORD WINAPI callChannelOrFail(HANDLE channel, const wchar_t* command, BYTE* input, DWORD inputSize,
                               BYTE* output, DWORD outputSize, DWORD* needed) {
    if (lstrcmpW(command, fault.command) == 0) {
        const unsigned call = calls++;
        const bool fails =
            call >= fault.first && (fault.count == 0 || call < fault.first + fault.count);
        if (fails) return fault.status;
    }
    return callChannel(channel, command, input, inputSize, output, outputSize, needed);
}

template <class Function>
void replaceSlot(int slot, Function& real, Function ours) {
    std::memcpy(&real, &table[slot], sizeof real);
    std::memcpy(&table[slot], &ours, sizeof ours);
}

BOOL WINAPI openChannelWithHandle(HANDLE monitor, const wchar_t* name, ACCESS_MASK access,
                                  HANDLE* channel) {
    *channel = nullptr;
    const BOOL opened = openChannel(monitor, name, access, channel);
    if (opened && *channel == nullptr) *channel = reinterpret_cast<HANDLE>(UINT_PTR{1});
    return opened;
}

template <class Function>
Function symbol(const char* name) {
    return reinterpret_cast<Function>(
        reinterpret_cast<void (*)()>(GetProcAddress(LoadLibraryA("Velmora.dll"), name)));
}

}  // namespace

extern "C" {

const void* WINAPI InitializePrintMonitor2(void* init, HANDLE* monitor) {
    const void* real =
        symbol<const void*(WINAPI*)(void*, HANDLE*)>("InitializePrintMonitor2")(init, monitor);
    std::memcpy(table, real, sizeof table);
    readFault();
    replaceSlot(kOpenChannelSlot, openChannel, &openChannelWithHandle);
    replaceSlot(kCallChannelSlot, callChannel, &callChannelOrFail);
    return table;
}

const void* WINAPI InitializePrintMonitorUI() {
    return symbol<const void*(WINAPI*)()>("InitializePrintMonitorUI")();
}
}
