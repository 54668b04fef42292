#include "platform/profile_file.h"

#include <windows.h>

#include <algorithm>
#include <array>

#include "platform/escaped_text.h"

namespace velmora {
namespace {

bool beginsDoubleByteCharacter(unsigned char byte) {
    return IsDBCSLeadByte(byte) != FALSE;
}

/// Whether a read that failed with this code says nothing about the file's contents. A key or file
/// that is missing leaves one code or another.
bool saysNothing(DWORD error) {
    constexpr std::array<DWORD, 9> kOutOfReach{
        ERROR_SHARING_VIOLATION,
        ERROR_LOCK_VIOLATION,
        ERROR_ACCESS_DENIED,
        ERROR_NOT_ENOUGH_MEMORY,
        ERROR_NO_SYSTEM_RESOURCES,
        ERROR_TOO_MANY_OPEN_FILES,
        ERROR_CRC,
        ERROR_READ_FAULT,
        ERROR_IO_DEVICE,
    };
    return std::ranges::find(kOutOfReach, error) != kOutOfReach.end();
}

}  // namespace

std::string ProfileFile::read(const std::string& section, const std::string& key,
                              bool* unreadable) const {
    std::array<char, 1024> area{};
    const DWORD before = GetLastError();
    SetLastError(ERROR_SUCCESS);
    const DWORD length = GetPrivateProfileStringA(section.c_str(), key.c_str(), "", area.data(),
                                                  static_cast<DWORD>(area.size()), path_.c_str());
    const DWORD error = GetLastError();
    // Callers' contracts say when the last error is set.
    if (error == ERROR_SUCCESS) SetLastError(before);
    if (unreadable != nullptr) *unreadable = length == 0 && saysNothing(error);
    return {area.data(), length};
}

void ProfileFile::write(const std::string& section, const std::string& key,
                        const std::string& value) const {
    WritePrivateProfileStringA(section.c_str(), key.c_str(), value.c_str(), path_.c_str());
}

std::string lookupText(const ProfileFile& file, const std::string& section,
                       const std::string& text) {
    const std::string key = textKey(escapeText(text));
    return key.empty() ? std::string() : lookupText(file, section, key, text);
}

std::string lookupText(const ProfileFile& file, const std::string& section, const std::string& key,
                       const std::string& text) {
    bool unreadable = false;
    const std::string value = file.read(section, key, &unreadable);
    if (!value.empty()) return unescapeText(value, &beginsDoubleByteCharacter);
    if (!unreadable) file.write(section, key, escapeText(text));
    return text;
}

std::string systemDirectory() {
    std::array<char, MAX_PATH> area{};
    const UINT length = GetSystemDirectoryA(area.data(), static_cast<UINT>(area.size()));
    return {area.data(), length < area.size() ? length : 0};
}

}  // namespace velmora
