#include <windows.h>

#include <winspool.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "bench/report.h"
#include "harness/packed_record.h"

// What a spooler waits for when it starts: the monitor loads its ports and lists them. Beside it a
// bare loop of the same registry calls, which no monitor can do without.

namespace velmora::bench {
namespace {

constexpr int kPorts = 10000;
const char kPortsKey[] = "Software\\AppRegKey\\Ipp\\PortMonitor\\1.1\\Ports";

void storePorts() {
    HKEY key = nullptr;
    RegCreateKeyA(HKEY_LOCAL_MACHINE, kPortsKey, &key);
    for (int i = 0; i < kPorts; ++i) {
        const std::string name = "Port " + std::to_string(i);
        const std::vector<std::byte> block =
            testing::portRecord(name, "ipp://printer" + std::to_string(i) + ".example/ipp/print");
        RegSetValueExA(key, name.c_str(), 0, REG_BINARY,
                       reinterpret_cast<const BYTE*>(block.data()),
                       static_cast<DWORD>(block.size()));
    }
    RegCloseKey(key);
}

void bareEnumeration() {
    HKEY key = nullptr;
    RegOpenKeyExA(HKEY_LOCAL_MACHINE, kPortsKey, 0, KEY_READ, &key);
    std::vector<char> name(16384);
    std::vector<BYTE> data(1024);
    for (DWORD index = 0;; ++index) {
        DWORD nameLength = static_cast<DWORD>(name.size());
        DWORD size = static_cast<DWORD>(data.size());
        DWORD type = 0;
        if (RegEnumValueA(key, index, name.data(), &nameLength, nullptr, &type, data.data(),
                          &size) != ERROR_SUCCESS)
            break;
    }
    RegCloseKey(key);
}

using Initialise = const void*(WINAPI*)(void*, HANDLE*);
using Enumerate = BOOL(WINAPI*)(HANDLE, wchar_t*, DWORD, BYTE*, DWORD, DWORD*, DWORD*);

void initialiseAndList(Initialise initialise) {
    const void* const* table = static_cast<const void* const*>(initialise(nullptr, nullptr));
    Enumerate enumerate = nullptr;
    std::memcpy(&enumerate, &table[1], sizeof enumerate);
    DWORD needed = 0;
    DWORD returned = 0;
    enumerate(nullptr, nullptr, 2, nullptr, 0, &needed, &returned);
    std::vector<BYTE> buffer(needed);
    enumerate(nullptr, nullptr, 2, buffer.data(), needed, &needed, &returned);
    if (returned != kPorts) std::printf("%lu ports instead of %d\n", returned, kPorts);
}

int run(int argc, char** argv) {
    Report report(argc, argv);
    storePorts();
    const HMODULE dll = LoadLibraryA("Velmora.dll");
    const auto initialise = reinterpret_cast<Initialise>(
        reinterpret_cast<void (*)()>(GetProcAddress(dll, "InitializePrintMonitor2")));
    const auto [ours, bare] = medianOfTurns(
        15, [&] { initialiseAndList(initialise); }, bareEnumeration);
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, kPortsKey);
    report.add({.name = "initialise with 10,000 ports and list them (level 2)",
                .unit = "ms",
                .value = ours * 1e3,
                .peer = bare * 1e3,
                .aim = 1.3});
    return 0;
}

}  // namespace
}  // namespace velmora::bench

int main(int argc, char** argv) {
    return velmora::bench::run(argc, argv);
}
