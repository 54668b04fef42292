#include "harness/clean_state.h"

#include <windows.h>

#include <shlwapi.h>

#include <array>
#include <fstream>
#include <sstream>

namespace velmora::testing {

std::string settingsFilePath() {
    std::array<char, MAX_PATH> directory{};
    GetSystemDirectoryA(directory.data(), static_cast<UINT>(directory.size()));
    return std::string(directory.data()) + "\\Velmora.dat";
}

void writeSettingsFile(const std::string& contents) {
    std::ofstream(settingsFilePath(), std::ios::binary) << contents;
    // The profile functions may cache a file that they have read before.
    WritePrivateProfileStringA(nullptr, nullptr, nullptr, settingsFilePath().c_str());
}

std::string readSettingsFile() {
    std::ostringstream contents;
    contents << std::ifstream(settingsFilePath(), std::ios::binary).rdbuf();
    return contents.str();
}

void writeRegistryRaw(const std::string& key, const std::string& value, unsigned long type,
                      std::span<const std::byte> data) {
    HKEY handle = nullptr;
    ASSERT_EQ(RegCreateKeyA(HKEY_LOCAL_MACHINE, key.c_str(), &handle), ERROR_SUCCESS);
    EXPECT_EQ(
        RegSetValueExA(handle, value.c_str(), 0, type, reinterpret_cast<const BYTE*>(data.data()),
                       static_cast<DWORD>(data.size())),
        ERROR_SUCCESS);
    RegCloseKey(handle);
}

void writeRegistryBinary(const std::string& key, const std::string& value,
                         std::span<const std::byte> data) {
    writeRegistryRaw(key, value, REG_BINARY, data);
}

std::vector<std::byte> readRegistry(const std::string& key, const std::string& value,
                                    unsigned long* type) {
    HKEY handle = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &handle) != ERROR_SUCCESS)
        return {};
    DWORD size = 0;
    DWORD found = REG_NONE;
    std::vector<std::byte> data;
    if (RegQueryValueExA(handle, value.c_str(), nullptr, &found, nullptr, &size) == ERROR_SUCCESS) {
        data.resize(size);
        RegQueryValueExA(handle, value.c_str(), nullptr, nullptr,
                         reinterpret_cast<BYTE*>(data.data()), &size);
    }
    RegCloseKey(handle);
    if (type != nullptr) *type = found;
    return data;
}

void cleanState() {
    SHDeleteKeyA(HKEY_LOCAL_MACHINE, "Software\\AppRegKey");
    SHDeleteKeyA(HKEY_LOCAL_MACHINE, "Software\\VelmoraTest");
    DeleteFileA(settingsFilePath().c_str());
}

}  // namespace velmora::testing
