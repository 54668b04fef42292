#include "platform/profile_file.h"

#include <windows.h>

#include <array>

#include "platform/escaped_text.h"

namespace velmora {
namespace {

bool beginsDoubleByteCharacter(unsigned char byte) {
    return IsDBCSLeadByte(byte) != FALSE;
}

}  // namespace

std::string ProfileFile::read(const std::string& section, const std::string& key) const {
    std::array<char, 1024> area{};
    const DWORD length = GetPrivateProfileStringA(section.c_str(), key.c_str(), "", area.data(),
                                                  static_cast<DWORD>(area.size()), path_.c_str());
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
    const std::string value = file.read(section, key);
    if (!value.empty()) return unescapeText(value, &beginsDoubleByteCharacter);
    file.write(section, key, escapeText(text));
    return text;
}

std::string systemDirectory() {
    std::array<char, MAX_PATH> area{};
    const UINT length = GetSystemDirectoryA(area.data(), static_cast<UINT>(area.size()));
    return {area.data(), length < area.size() ? length : 0};
}

}  // namespace velmora
