#include <windows.h>
// Not part of WIN32_LEAN_AND_MEAN's windows.h.
#include <winspool.h>

#include <cstring>
#include <string>

#include "harness/simulated_servers/credentials.h"

// Other computers for the administration tool's tests: Wine's spooler and registry know no other
// computer than their own. A run of the tool is about one server, which its command line names.
//
// A test installs this library as version.dll for the tool. Wine loads it before the tool's first
// line, so that functions are replaced before the tool looks them up. Most libraries are not ready
// yet then: only the registry and the loader may be used. Each key below HKEY_LOCAL_MACHINE's
// "Software\Simulated servers" is a server, and is what that server has for HKEY_LOCAL_MACHINE. All
// calls that name the server go to Wine's spooler, which then finds the server's registry. Files of
// a server's shares are at Wine's place for them, dosdevices/unc; its system directory is this
// computer's.
//
// A server with the value "Silent" does not answer: calls that name it block for ten minutes.
// A number in "Software\Simulated servers" is an error that calls end with: "AddPrinter" the making
// of a queue, also here; and what is asked of a server: "AddMonitor", "DeleteMonitor",
// "RegConnectRegistry", and "CopyFile" to its shares. A server's service manager is this
// computer's.

namespace {

using velmora::testing::AnyFunction;
using velmora::testing::withCredentials;

constexpr DWORD kSilenceMs = 600'000;
constexpr char kServers[] = "Software\\Simulated servers";

std::string server;  // "\\NAME"; empty: the tool is about this computer, or one that is not there
bool silent = false;

/// The calls that can be made to fail, with the errors that they end with.
struct Faults {
    DWORD addPrinter = 0;
    DWORD addMonitor = 0;
    DWORD deleteMonitor = 0;
    DWORD connectRegistry = 0;
    DWORD copyFile = 0;
};
Faults faults;

/// Whether the call is to fail; sets the last error if so.
bool fails(DWORD error) {
    if (error != 0) SetLastError(error);
    return error != 0;
}

/// Whether the text begins with the server's name.
bool namesServer(const char* text) {
    return !server.empty() && text != nullptr &&
           _strnicmp(text, server.c_str(), server.size()) == 0;
}

/// Null instead of the server's name.
template <class Text>
Text own(Text name) {
    if (!namesServer(name)) return name;
    if (silent) Sleep(kSilenceMs);
    return nullptr;
}

// Wine's functions, once the tool has looked them up.
decltype(&EnumPortsA) realEnumPorts = nullptr;
decltype(&EnumMonitorsA) realEnumMonitors = nullptr;
decltype(&EnumPrinterDriversA) realEnumPrinterDrivers = nullptr;
decltype(&EnumPrintersA) realEnumPrinters = nullptr;
decltype(&AddMonitorA) realAddMonitor = nullptr;
decltype(&DeleteMonitorA) realDeleteMonitor = nullptr;
decltype(&AddPrinterA) realAddPrinter = nullptr;
decltype(&OpenPrinterA) realOpenPrinter = nullptr;
decltype(&StartDocPrinterA) realStartDoc = nullptr;

BOOL WINAPI enumPorts(char* name, DWORD level, BYTE* data, DWORD size, DWORD* needed,
                      DWORD* count) {
    return realEnumPorts(own(name), level, data, size, needed, count);
}

BOOL WINAPI enumMonitors(char* name, DWORD level, BYTE* data, DWORD size, DWORD* needed,
                         DWORD* count) {
    return realEnumMonitors(own(name), level, data, size, needed, count);
}

BOOL WINAPI enumDrivers(char* name, char* environment, DWORD level, BYTE* data, DWORD size,
                        DWORD* needed, DWORD* count) {
    return realEnumPrinterDrivers(own(name), environment, level, data, size, needed, count);
}

BOOL WINAPI enumPrinters(DWORD flags, char* name, DWORD level, BYTE* data, DWORD size,
                         DWORD* needed, DWORD* count) {
    const DWORD kind = namesServer(name) ? PRINTER_ENUM_LOCAL : flags;
    return realEnumPrinters(kind, own(name), level, data, size, needed, count);
}

BOOL WINAPI addMonitor(char* name, DWORD level, BYTE* data) {
    if (namesServer(name) && fails(faults.addMonitor)) return FALSE;
    return realAddMonitor(own(name), level, data);
}

BOOL WINAPI deleteMonitor(char* name, char* environment, char* monitor) {
    if (namesServer(name) && fails(faults.deleteMonitor)) return FALSE;
    return realDeleteMonitor(own(name), environment, monitor);
}

HANDLE WINAPI addPrinter(char* name, DWORD level, BYTE* data) {
    if (fails(faults.addPrinter)) return nullptr;
    return realAddPrinter(own(name), level, data);
}

/// The path below "\\NAME\" on that server.
BOOL WINAPI openPrinter(char* name, HANDLE* printer, PRINTER_DEFAULTSA* defaults) {
    if (namesServer(name) && own(name) == nullptr) name += server.size() + 1;
    return realOpenPrinter(name, printer, defaults);
}

LSTATUS WINAPI connectRegistry(const char* name, HKEY root, HKEY* key) {
    if (!namesServer(name)) return RegConnectRegistryA(name, root, key);
    own(name);
    if (faults.connectRegistry != 0) return static_cast<LSTATUS>(faults.connectRegistry);
    return RegOpenKeyExA(root, nullptr, 0, KEY_ALL_ACCESS, key);
}

BOOL WINAPI copyFile(const char* from, const char* to, BOOL onlyNew) {
    if (namesServer(to) && fails(faults.copyFile)) return FALSE;
    return CopyFileA(from, to, onlyNew);
}

SC_HANDLE WINAPI openManager(const char* name, const char* database, DWORD access) {
    return OpenSCManagerA(own(name), database, access);
}

template <class Function>
AnyFunction anyFunction(Function* function) {
    return reinterpret_cast<AnyFunction>(function);
}

template <class Function>
FARPROC replaced(HMODULE library, const char* name, Function*& real, Function* ours) {
    real = reinterpret_cast<Function*>(anyFunction(GetProcAddress(library, name)));
    return reinterpret_cast<FARPROC>(anyFunction(ours));
}

void replaceImport(HMODULE module, const char* wanted, AnyFunction function);

/// The monitor runs in this process. It is loaded before a document is printed, and sends it with
/// wininet.dll.
DWORD WINAPI startDoc(HANDLE printer, DWORD level, BYTE* document) {
    const HMODULE monitor = GetModuleHandleA("Velmora.dll");
    const HMODULE wininet = GetModuleHandleA("wininet.dll");
    for (const char* name : {"InternetSetOptionA", "HttpOpenRequestA", "HttpSendRequestExA"}) {
        if (monitor != nullptr && wininet != nullptr)
            replaceImport(monitor, name, withCredentials(wininet, name));
    }
    return realStartDoc(printer, level, document);
}

FARPROC WINAPI findFunction(HMODULE library, const char* name) {
    const auto is = [&](const char* wanted) { return std::strcmp(name, wanted) == 0; };
    if (library == GetModuleHandleA("wininet.dll")) {
        const AnyFunction function = withCredentials(library, name);
        if (function != nullptr) return reinterpret_cast<FARPROC>(function);
    }
    if (library != GetModuleHandleA("winspool.drv")) return GetProcAddress(library, name);
    if (is("EnumPortsA")) return replaced(library, name, realEnumPorts, &enumPorts);
    if (is("EnumMonitorsA")) return replaced(library, name, realEnumMonitors, &enumMonitors);
    if (is("EnumPrinterDriversA"))
        return replaced(library, name, realEnumPrinterDrivers, &enumDrivers);
    if (is("EnumPrintersA")) return replaced(library, name, realEnumPrinters, &enumPrinters);
    if (is("AddMonitorA")) return replaced(library, name, realAddMonitor, &addMonitor);
    if (is("DeleteMonitorA")) return replaced(library, name, realDeleteMonitor, &deleteMonitor);
    if (is("AddPrinterA")) return replaced(library, name, realAddPrinter, &addPrinter);
    if (is("OpenPrinterA")) return replaced(library, name, realOpenPrinter, &openPrinter);
    if (is("StartDocPrinterA")) return replaced(library, name, realStartDoc, &startDoc);
    return GetProcAddress(library, name);
}

/// Puts `function` into the import table of a module.
void replaceImport(HMODULE module, const char* wanted, AnyFunction function) {
    auto* const base = reinterpret_cast<BYTE*>(module);
    const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(
        base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
    const IMAGE_DATA_DIRECTORY& table =
        headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    const auto* library =
        reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + table.VirtualAddress);
    for (; library->Name != 0; ++library) {
        const auto* name =
            reinterpret_cast<const IMAGE_THUNK_DATA*>(base + library->OriginalFirstThunk);
        auto* slot = reinterpret_cast<IMAGE_THUNK_DATA*>(base + library->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++slot) {
            if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
            const auto* const import =
                reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + name->u1.AddressOfData);
            if (std::strcmp(reinterpret_cast<const char*>(import->Name), wanted) != 0) continue;
            DWORD before = 0;
            VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &before);
            std::memcpy(slot, &function, sizeof function);
            VirtualProtect(slot, sizeof *slot, before, &before);
        }
    }
}

/// The word after "--server" on the command line.
std::string serverOfCommandLine() {
    const std::string line = GetCommandLineA();
    constexpr char kOption[] = "--server ";
    const std::size_t found = line.find(kOption);
    if (found == std::string::npos) return {};
    const std::size_t begin = line.find_first_not_of(" \"\\", found + sizeof kOption - 1);
    if (begin == std::string::npos) return {};
    return line.substr(begin, line.find_first_of(" \"", begin) - begin);
}

void simulate() {
    HKEY servers = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kServers, 0, KEY_READ, &servers) != ERROR_SUCCESS) return;
    const auto readFault = [&](const char* name, DWORD& error) {
        DWORD size = sizeof error;
        RegQueryValueExA(servers, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&error), &size);
    };
    readFault("AddPrinter", faults.addPrinter);
    readFault("AddMonitor", faults.addMonitor);
    readFault("DeleteMonitor", faults.deleteMonitor);
    readFault("RegConnectRegistry", faults.connectRegistry);
    readFault("CopyFile", faults.copyFile);
    const std::string name = serverOfCommandLine();
    HKEY root = nullptr;
    if (!name.empty() &&
        RegOpenKeyExA(servers, name.c_str(), 0, KEY_ALL_ACCESS, &root) == ERROR_SUCCESS) {
        server = "\\\\" + name;
        silent = RegQueryValueExA(root, "Silent", nullptr, nullptr, nullptr, nullptr) == 0;
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, root);
    }
    const HMODULE tool = GetModuleHandleA(nullptr);
    replaceImport(tool, "GetProcAddress", anyFunction(&findFunction));
    replaceImport(tool, "RegConnectRegistryA", anyFunction(&connectRegistry));
    replaceImport(tool, "CopyFileA", anyFunction(&copyFile));
    replaceImport(tool, "OpenSCManagerA", anyFunction(&openManager));
}

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
    if (reason == DLL_PROCESS_ATTACH) simulate();
    return TRUE;
}
