#include "platform/registry.h"

#include <shlwapi.h>

#include <array>

namespace velmora {
namespace {

// The registry's own limit for a value name, in characters, is 16,383.
constexpr DWORD kMaxValueName = 16384;

}  // namespace

RegistryKey RegistryKey::openBelow(HKEY parent, const std::string& path, LSTATUS* status) {
    UniqueRegKey key;
    const LSTATUS result = RegOpenKeyExA(parent, path.c_str(), 0, KEY_READ, key.put());
    if (status != nullptr) *status = result;
    if (result != ERROR_SUCCESS) return {};
    return RegistryKey(std::move(key));
}

RegistryKey RegistryKey::createBelow(HKEY parent, const std::string& path) {
    UniqueRegKey key;
    if (RegCreateKeyA(parent, path.c_str(), key.put()) != ERROR_SUCCESS) return {};
    return RegistryKey(std::move(key));
}

RegistryKey RegistryKey::open(const std::string& path, LSTATUS* status) {
    return openBelow(HKEY_LOCAL_MACHINE, path, status);
}

RegistryKey RegistryKey::create(const std::string& path) {
    return createBelow(HKEY_LOCAL_MACHINE, path);
}

RegistryKey RegistryKey::openSubkey(const std::string& name, LSTATUS* status) const {
    return key_ ? openBelow(key_.get(), name, status) : RegistryKey();
}

RegistryKey RegistryKey::createSubkey(const std::string& name) const {
    return key_ ? createBelow(key_.get(), name) : RegistryKey();
}

void RegistryKey::deleteTree(const std::string& path) {
    SHDeleteKeyA(HKEY_LOCAL_MACHINE, path.c_str());
}

RegistryValue::RegistryValue() : name_(kMaxValueName), data_(1024) {}

bool RegistryKey::enumValue(DWORD index, RegistryValue& value) const {
    if (!key_) return false;
    for (;;) {
        value.nameLength_ = kMaxValueName;
        value.size_ = static_cast<DWORD>(value.data_.size());
        const LSTATUS status =
            RegEnumValueA(key_.get(), index, value.name_.data(), &value.nameLength_, nullptr,
                          &value.type_, reinterpret_cast<BYTE*>(value.data_.data()), &value.size_);
        if (status == ERROR_SUCCESS) return true;
        // A value may grow between the two calls; the loop ends when it fits.
        if (status != ERROR_MORE_DATA || value.size_ <= value.data_.size()) return false;
        value.data_.resize(value.size_);
    }
}

std::optional<RegistryKey::Counts> RegistryKey::counts() const {
    Counts counts{};
    if (!key_ ||
        RegQueryInfoKeyA(key_.get(), nullptr, nullptr, nullptr, &counts.subkeys, nullptr, nullptr,
                         &counts.values, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
        return std::nullopt;
    return counts;
}

LSTATUS RegistryKey::enumSubkey(DWORD index, std::string& name) const {
    if (!key_) return ERROR_INVALID_HANDLE;
    std::array<char, 1024> area{};
    const LSTATUS status =
        RegEnumKeyA(key_.get(), index, area.data(), static_cast<DWORD>(area.size()));
    if (status == ERROR_SUCCESS) name = area.data();
    return status;
}

std::optional<DWORD> RegistryKey::query(const char* name, std::span<std::byte> area, DWORD* type,
                                        LSTATUS* status) const {
    if (!key_) return std::nullopt;
    DWORD size = static_cast<DWORD>(area.size());
    const LSTATUS result = RegQueryValueExA(key_.get(), name, nullptr, type,
                                            reinterpret_cast<BYTE*>(area.data()), &size);
    if (status != nullptr) *status = result;
    if (result != ERROR_SUCCESS) return std::nullopt;
    return size;
}

bool RegistryKey::setBinary(const char* name, std::span<const std::byte> data) const {
    return setValue(name, REG_BINARY, data);
}

bool RegistryKey::setText(const char* name, const std::string& text) const {
    return key_ &&
           RegSetValueExA(key_.get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>(text.size() + 1)) == ERROR_SUCCESS;
}

bool RegistryKey::setNumber(const char* name, std::uint32_t number) const {
    return key_ &&
           RegSetValueExA(key_.get(), name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number),
                          sizeof number) == ERROR_SUCCESS;
}

bool RegistryKey::setValue(const char* name, DWORD type, std::span<const std::byte> data) const {
    return key_ &&
           RegSetValueExA(key_.get(), name, 0, type, reinterpret_cast<const BYTE*>(data.data()),
                          static_cast<DWORD>(data.size())) == ERROR_SUCCESS;
}

bool RegistryKey::deleteSubtree(const std::string& name) const {
    return key_ && SHDeleteKeyA(key_.get(), name.c_str()) == ERROR_SUCCESS;
}

bool RegistryKey::deleteValue(const char* name) const {
    return key_ && RegDeleteValueA(key_.get(), name) == ERROR_SUCCESS;
}

bool RegistryKey::deleteSubkey(const std::string& name) const {
    return key_ && RegDeleteKeyA(key_.get(), name.c_str()) == ERROR_SUCCESS;
}

std::optional<RegistryStamp> RegistryKey::stamp() const {
    DWORD subkeys = 0;
    FILETIME written{};
    if (!key_ || RegQueryInfoKeyA(key_.get(), nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr,
                                  nullptr, nullptr, nullptr, nullptr, &written) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    return RegistryStamp{
        static_cast<std::uint64_t>(written.dwHighDateTime) << 32 | written.dwLowDateTime, subkeys};
}

}  // namespace velmora
