#include "velmoractl/setup/spooler_setup.h"

// Not part of WIN32_LEAN_AND_MEAN's windows.h.
#include <aclapi.h>
#include <sddl.h>
#include <shlwapi.h>
#include <winspool.h>
#include <winver.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <vector>

#include "platform/handle.h"
#include "platform/library.h"
#include "port/delivery_directory.h"
#include "velmoractl/setup/placed_file.h"
#include "velmoractl/text/console.h"

namespace velmora::ctl {
namespace {

// Protected from what the keys above grant; the system and administrators have all rights, here
// and in all keys below.
constexpr char kRights[] = "D:PAI(A;OICI;KA;;;SY)(A;OICI;KA;;;BA)";

/// Where the event log looks for its sources.
std::string eventSourceKey() {
    std::string key = "System\\CurrentControlSet\\Services\\EventLog\\Application\\";
    key += kEventSource;
    return key;
}

}  // namespace

bool monitorInstalled(const std::string& server, const std::string& monitor) {
    std::string computer = server;
    char* const where = computer.empty() ? nullptr : computer.data();
    DWORD needed = 0;
    DWORD count = 0;
    std::vector<BYTE> area;
    while (
        !EnumMonitorsA(where, 1, area.data(), static_cast<DWORD>(area.size()), &needed, &count)) {
        const DWORD error = GetLastError();
        if (error != ERROR_INSUFFICIENT_BUFFER || needed <= area.size()) {
            throw spoolerError("asking the spooler for its monitors", error);
        }
        area.resize(needed);
    }
    const auto* const info = reinterpret_cast<const MONITOR_INFO_1A*>(area.data());
    return std::any_of(info, info + count,
                       [&](const MONITOR_INFO_1A& one) { return monitor == one.pName; });
}

DWORD addMonitor(const std::string& server, const std::string& monitor, const std::string& library,
                 WORD machine) {
    std::string computer = server;
    std::string name = monitor;
    std::string file = library;
    std::string environment =
        machine == IMAGE_FILE_MACHINE_AMD64 ? "Windows x64" : "Windows NT x86";
    MONITOR_INFO_2A info{name.data(), environment.data(), file.data()};
    char* const where = computer.empty() ? nullptr : computer.data();
    return AddMonitorA(where, 2, reinterpret_cast<BYTE*>(&info)) ? 0 : GetLastError();
}

DWORD deleteMonitor(const std::string& server, const std::string& monitor) {
    std::string computer = server;
    std::string name = monitor;
    char* const where = computer.empty() ? nullptr : computer.data();
    return DeleteMonitorA(where, nullptr, name.data()) ? 0 : GetLastError();
}

DWORD restrictKey(const std::string& path, HKEY root) {
    UniqueRegKey key;
    const auto error = static_cast<DWORD>(RegCreateKeyExA(
        root, path.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE | WRITE_DAC | READ_CONTROL, nullptr,
        key.put(), nullptr));
    if (error != ERROR_SUCCESS) return error;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorA(kRights, SDDL_REVISION_1, &descriptor,
                                                              nullptr)) {
        return GetLastError();
    }
    const UniqueLocalMemory owner(descriptor);
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    PACL rights = nullptr;
    if (!GetSecurityDescriptorDacl(descriptor, &present, &rights, &defaulted))
        return GetLastError();
    // SetSecurityInfo, unlike RegSetKeySecurity, also changes the keys that are there below.
    return SetSecurityInfo(key.get(), SE_REGISTRY_KEY,
                           DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION, nullptr,
                           nullptr, rights, nullptr);
}

bool isRestricted(const std::string& path, HKEY root) {
    UniqueRegKey key;
    if (RegOpenKeyExA(root, path.c_str(), 0, READ_CONTROL, key.put()) != 0) {
        return false;
    }
    PACL rights = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetSecurityInfo(key.get(), SE_REGISTRY_KEY, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                        &rights, nullptr, &descriptor) != ERROR_SUCCESS) {
        return false;
    }
    const UniqueLocalMemory owner(descriptor);
    char* text = nullptr;
    if (!ConvertSecurityDescriptorToStringSecurityDescriptorA(
            descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &text, nullptr)) {
        return false;
    }
    const UniqueLocalMemory textOwner(text);
    const std::string found = text;
    const auto entries = std::count(found.begin(), found.end(), '(');
    return entries == 2 && found.find(";;;SY)") != std::string::npos &&
           found.find(";;;BA)") != std::string::npos;
}

bool registerEventSource(const std::string& library, HKEY root) {
    constexpr DWORD kTypes =
        EVENTLOG_ERROR_TYPE | EVENTLOG_WARNING_TYPE | EVENTLOG_INFORMATION_TYPE;
    UniqueRegKey source;
    if (RegCreateKeyExA(root, eventSourceKey().c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr,
                        source.put(), nullptr) != ERROR_SUCCESS) {
        return false;
    }
    const DWORD type = library.find('%') == std::string::npos ? REG_SZ : REG_EXPAND_SZ;
    return RegSetValueExA(source.get(), "EventMessageFile", 0, type,
                          reinterpret_cast<const BYTE*>(library.c_str()),
                          static_cast<DWORD>(library.size() + 1)) == ERROR_SUCCESS &&
           RegSetValueExA(source.get(), "TypesSupported", 0, REG_DWORD,
                          reinterpret_cast<const BYTE*>(&kTypes), sizeof kTypes) == ERROR_SUCCESS;
}

bool hasEventSource(HKEY root) {
    return hasKey(eventSourceKey(), root);
}

bool removeEventSource(HKEY root) {
    SHDeleteKeyA(root, eventSourceKey().c_str());
    return !hasEventSource(root);
}

bool hasKey(const std::string& path, HKEY root) {
    UniqueRegKey key;
    return RegOpenKeyExA(root, path.c_str(), 0, KEY_READ, key.put()) == ERROR_SUCCESS;
}

bool removeKey(const std::string& path, HKEY root) {
    SHDeleteKeyA(root, path.c_str());
    if (hasKey(path, root)) return false;
    removeEmptyKeys(path, root);
    return true;
}

void removeEmptyKeys(const std::string& path, HKEY root) {
    std::string above = path;
    for (std::size_t end = above.rfind('\\'); end != std::string::npos; end = above.rfind('\\')) {
        above.resize(end);
        if (above.find('\\') == std::string::npos) return;
        {
            UniqueRegKey key;
            DWORD keys = 0;
            DWORD values = 0;
            if (RegOpenKeyExA(root, above.c_str(), 0, KEY_READ, key.put()) != 0 ||
                RegQueryInfoKeyA(key.get(), nullptr, nullptr, nullptr, &keys, nullptr, nullptr,
                                 &values, nullptr, nullptr, nullptr, nullptr) != 0 ||
                keys + values > 0) {
                return;
            }
        }
        if (RegDeleteKeyA(root, above.c_str()) != 0) return;
    }
}

bool fileExists(const std::string& path) {
    return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

FileRemoval removeFile(const std::string& path) {
    if (!fileExists(path)) return FileRemoval::absent;
    if (DeleteFileA(path.c_str())) return FileRemoval::removed;
    const DWORD error = GetLastError();
    if (isInUse(error)) {
        if (const std::string aside = moveAside(path); !aside.empty()) {
            deleteAtNextStart(aside);
            return aside.starts_with("\\\\") ? FileRemoval::renamed : FileRemoval::atNextStart;
        }
    }
    throw systemError("deleting " + quotedPath(path), error, "close what uses the file");
}

std::string fileVersion(const std::string& path) {
    DWORD unused = 0;
    const DWORD size = GetFileVersionInfoSizeA(path.c_str(), &unused);
    if (size == 0) return {};
    std::vector<std::byte> area(size);
    void* fixed = nullptr;
    UINT length = 0;
    if (!GetFileVersionInfoA(path.c_str(), 0, size, area.data()) ||
        !VerQueryValueA(area.data(), "\\", &fixed, &length) || length < sizeof(VS_FIXEDFILEINFO)) {
        return {};
    }
    const auto& info = *static_cast<const VS_FIXEDFILEINFO*>(fixed);
    std::string text;
    for (const DWORD part : {info.dwFileVersionMS, info.dwFileVersionLS}) {
        text += (text.empty() ? "" : ".") + std::to_string(HIWORD(part)) + "." +
                std::to_string(LOWORD(part));
    }
    return text;
}

bool isWrongBitness() {
    // Not in the oldest systems' kernel32.
    using IsWow64 = BOOL(WINAPI*)(HANDLE, BOOL*);
    const auto isWow64 = librarySymbol<IsWow64>(GetModuleHandleA("kernel32.dll"), "IsWow64Process");
    BOOL emulated = FALSE;
    return isWow64 != nullptr && isWow64(GetCurrentProcess(), &emulated) && emulated;
}

}  // namespace velmora::ctl
