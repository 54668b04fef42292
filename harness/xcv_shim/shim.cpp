#include <windows.h>

#include <cstring>

// A monitor that forwards to Velmora.dll. Wine's spooler treats a channel as failed if opening it
// leaves the handle unwritten; Windows' spooler does not. The shim fills in a handle.

namespace {

using OpenChannel = BOOL(WINAPI*)(HANDLE, const wchar_t*, ACCESS_MASK, HANDLE*);

/// MONITOR2 as an array: the size field, then the slots from 1.
constexpr int kSlots = 18;
constexpr int kOpenChannelSlot = 15;
const void* table[kSlots + 1];
OpenChannel openChannel = nullptr;

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
    std::memcpy(&openChannel, &table[kOpenChannelSlot], sizeof openChannel);
    OpenChannel const ours = &openChannelWithHandle;
    std::memcpy(&table[kOpenChannelSlot], &ours, sizeof ours);
    return table;
}

const void* WINAPI InitializePrintMonitorUI() {
    return symbol<const void*(WINAPI*)()>("InitializePrintMonitorUI")();
}
}
