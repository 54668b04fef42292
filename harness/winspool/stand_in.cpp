// A winspool.drv that records its calls. It exports the functions that the monitor and
// its UI use, and VelmoraSpoolerStandIn() for the test.
#include "harness/winspool/stand_in.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>

namespace {

using velmora::testing::SpoolerStandIn;

SpoolerStandIn standIn{};
std::mutex mutex;

/// Keeps as much as fits.
void record(const char* format, ...) {
    char line[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    {
        const std::lock_guard lock(mutex);
        const std::size_t used = std::strlen(standIn.calls);
        std::snprintf(standIn.calls + used, sizeof standIn.calls - used, "%s", line);
    }
    if (standIn.onCall != nullptr) standIn.onCall(line);
}

unsigned number(HANDLE handle) {
    return static_cast<unsigned>(reinterpret_cast<UINT_PTR>(handle));
}

const char* shown(const void* pointer) {
    return pointer == nullptr ? "null" : "set";
}

}  // namespace

extern "C" {

SpoolerStandIn* WINAPI VelmoraSpoolerStandIn() {
    return &standIn;
}

BOOL WINAPI OpenPrinterA(char* name, HANDLE* printer, void* defaults) {
    if (standIn.openPrinterFails) {
        record("OpenPrinterA %s %s fails\n", name == nullptr ? "null" : name, shown(defaults));
        SetLastError(ERROR_INVALID_PRINTER_NAME);
        return FALSE;
    }
    mutex.lock();
    const DWORD handle = 1000 + ++standIn.printers;
    mutex.unlock();
    *printer = reinterpret_cast<HANDLE>(static_cast<UINT_PTR>(handle));
    record("OpenPrinterA %s %s -> %lu\n", name == nullptr ? "null" : name, shown(defaults), handle);
    return TRUE;
}

BOOL WINAPI ClosePrinter(HANDLE printer) {
    record("ClosePrinter %u\n", number(printer));
    return TRUE;
}

BOOL WINAPI SetJobA(HANDLE printer, DWORD job, DWORD level, BYTE* data, DWORD control) {
    record("SetJobA %u %lu %lu %s %lu\n", number(printer), job, level, shown(data), control);
    if (standIn.setJobFails) SetLastError(ERROR_INVALID_HANDLE);
    return !standIn.setJobFails;
}

BOOL WINAPI EnumPortsA(char* server, DWORD level, BYTE* buffer, DWORD size, DWORD* needed,
                       DWORD* returned) {
    record("EnumPortsA %s %lu\n", server == nullptr ? "null" : server, level);
    DWORD count = 0;
    const char* end = standIn.ports;
    for (; *end != '\0'; end += std::strlen(end) + 1)
        ++count;
    const DWORD texts = static_cast<DWORD>(end - standIn.ports);
    *needed = count * static_cast<DWORD>(sizeof(char*)) + texts;
    *returned = 0;
    if (*needed > size) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    char* text = reinterpret_cast<char*>(buffer) + count * sizeof(char*);
    std::memcpy(text, standIn.ports, texts);
    for (; *returned < count; text += std::strlen(text) + 1)
        reinterpret_cast<char**>(buffer)[(*returned)++] = text;
    return TRUE;
}

BOOL WINAPI XcvDataW(HANDLE xcv, const wchar_t* command, BYTE* input, DWORD inputSize, BYTE* output,
                     DWORD outputSize, DWORD* needed, DWORD* status) {
    record("XcvDataW %u %ls %lu %lu\n", number(xcv), command, inputSize, outputSize);
    if (standIn.xcvRoute == nullptr) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return FALSE;
    }
    *needed = 0;
    *status = standIn.xcvRoute(xcv, command, input, inputSize, output, outputSize, needed);
    return TRUE;
}
}
