#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/handle.h"

namespace velmora {

/// One value of a key as it is stored, whatever its type. The areas are kept from one value to the
/// next, so that a long enumeration neither allocates nor clears memory for each.
class RegistryValue {
  public:
    RegistryValue();

    std::string_view name() const noexcept { return {name_.data(), nameLength_}; }
    DWORD type() const noexcept { return type_; }
    std::span<const std::byte> data() const noexcept { return {data_.data(), size_}; }

  private:
    friend class RegistryKey;

    std::vector<char> name_;
    DWORD nameLength_ = 0;
    DWORD type_ = REG_NONE;
    std::vector<std::byte> data_;
    DWORD size_ = 0;
};

/// Changes when subkeys are added, removed or replaced; not when something changes inside one.
struct RegistryStamp {
    std::uint64_t written = 0;
    std::uint32_t subkeys = 0;

    bool operator==(const RegistryStamp&) const = default;
};

/// Whether this result means that a key or value is missing, not only inaccessible.
constexpr bool isMissing(LSTATUS status) noexcept {
    return status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND ||
           status == ERROR_KEY_DELETED;
}

/// A key below HKEY_LOCAL_MACHINE. An object without a key (opening failed) reads as empty and
/// ignores writes, since the callers' contracts have no error for either.
class RegistryKey {
  public:
    RegistryKey() = default;

    /// RegOpenKeyExA with KEY_READ; its result goes to `status` if that is given.
    static RegistryKey open(const std::string& path, LSTATUS* status = nullptr);
    /// RegCreateKeyA: opens the key, and makes it and its parents when they are missing.
    static RegistryKey create(const std::string& path);
    /// SHDeleteKeyA: deletes the key with everything below it. A missing key is no error.
    static void deleteTree(const std::string& path);

    // The same below this key, by the subkey's name or by a path without a leading backslash. The
    // ANSI calls refuse paths of more than 260 characters, while a name alone may have 255.
    RegistryKey openSubkey(const std::string& name, LSTATUS* status = nullptr) const;
    RegistryKey createSubkey(const std::string& name) const;

    explicit operator bool() const noexcept { return static_cast<bool>(key_); }

    struct Counts {
        DWORD subkeys;
        DWORD values;
    };
    /// How many subkeys and values the key has; empty if that fails. RegQueryInfoKeyA.
    std::optional<Counts> counts() const;

    /// The value at `index` in enumeration order; false at the end or on an error. A value of any
    /// size is returned whole. RegEnumValueA.
    bool enumValue(DWORD index, RegistryValue& value) const;

    /// The subkey name at `index` (RegEnumKeyA, at most 1023 bytes): ERROR_SUCCESS, or
    /// ERROR_NO_MORE_ITEMS at the end, or what else the platform reports.
    LSTATUS enumSubkey(DWORD index, std::string& name) const;

    /// RegQueryValueExA into `area`; on success the number of bytes that the value has, and its
    /// type in `type` and the call's result in `status` if they are given.
    std::optional<DWORD> query(const char* name, std::span<std::byte> area, DWORD* type = nullptr,
                               LSTATUS* status = nullptr) const;

    bool setBinary(const char* name, std::span<const std::byte> data) const;
    /// REG_SZ, stored with its terminating zero.
    bool setText(const char* name, const std::string& text) const;
    /// REG_DWORD.
    bool setNumber(const char* name, std::uint32_t number) const;
    /// RegSetValueExA with any type and bytes.
    bool setValue(const char* name, DWORD type, std::span<const std::byte> data) const;
    bool deleteValue(const char* name) const;
    /// Deletes the subkey with everything below it. SHDeleteKeyA.
    bool deleteSubtree(const std::string& name) const;
    /// False too for a subkey with keys below it. RegDeleteKeyA.
    bool deleteSubkey(const std::string& name) const;
    /// None without a key. RegQueryInfoKeyA.
    std::optional<RegistryStamp> stamp() const;

  private:
    explicit RegistryKey(UniqueRegKey key) : key_(std::move(key)) {}

    static RegistryKey openBelow(HKEY parent, const std::string& path, LSTATUS* status);
    static RegistryKey createBelow(HKEY parent, const std::string& path);

    UniqueRegKey key_;
};

}  // namespace velmora
