#include "velmoractl/policy_key.h"

#include <array>
#include <span>

#include "platform/profile_file.h"
#include "port/policy_store.h"
#include "port/settings.h"
#include "velmoractl/setup/installed_settings.h"
#include "velmoractl/text/console.h"

namespace velmora::ctl {
namespace {

constexpr char kWhat[] = "the policy";
constexpr char kRemedy[] = "check that the remote registry can be reached";

/// The company part of the key as that computer's own settings file has it.
std::string monitorKeyOf(const std::string& server) {
    if (server.empty()) return installedKey();
    const ProfileFile file(server + "\\admin$\\system32\\Velmora.dat");
    const std::string company = file.read("Strings", "AppRegKey");
    if (company.empty()) return installedKey();
    return monitorRegistryKey(company);
}

}  // namespace

PolicyKey::PolicyKey(const std::string& server)
    : server_(server), path_(policyRegistryKey(monitorKeyOf(server))) {
    if (server.empty()) return;
    const LSTATUS error = RegConnectRegistryA(server.c_str(), HKEY_LOCAL_MACHINE, root_.put());
    if (error == ERROR_SUCCESS) return;
    throw systemError(std::string(kWhat) + " of " + quotedAnsi(server), static_cast<DWORD>(error),
                      kRemedy);
}

UniqueRegKey PolicyKey::open() const {
    UniqueRegKey key;
    const LSTATUS error = RegOpenKeyExA(server_.empty() ? HKEY_LOCAL_MACHINE : root_.get(),
                                        path_.c_str(), 0, KEY_READ, key.put());
    if (error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND)
        throw systemError(kWhat, static_cast<DWORD>(error), kRemedy);
    return key;
}

bool PolicyKey::exists() const {
    return static_cast<bool>(open());
}

std::optional<std::uint32_t> PolicyKey::read(const PolicyValue& value) const {
    const UniqueRegKey key = open();
    std::array<std::byte, sizeof(std::uint32_t)> area{};
    DWORD type = REG_NONE;
    DWORD size = static_cast<DWORD>(area.size());
    if (!key || RegQueryValueExA(key.get(), value.name, nullptr, &type,
                                 reinterpret_cast<BYTE*>(area.data()), &size) != ERROR_SUCCESS)
        return std::nullopt;
    return parsePolicyValue(value, type, std::span(area).first(size));
}

bool PolicyKey::isInvalid(const PolicyValue& value) const {
    const UniqueRegKey key = open();
    return key &&
           RegQueryValueExA(key.get(), value.name, nullptr, nullptr, nullptr, nullptr) ==
               ERROR_SUCCESS &&
           !read(value);
}

void PolicyKey::write(const PolicyValue& value, std::uint32_t number) {
    UniqueRegKey key;
    LSTATUS error =
        RegCreateKeyExA(server_.empty() ? HKEY_LOCAL_MACHINE : root_.get(), path_.c_str(), 0,
                        nullptr, 0, KEY_SET_VALUE, nullptr, key.put(), nullptr);
    const DWORD data = number;
    if (error == ERROR_SUCCESS) {
        error = RegSetValueExA(key.get(), value.name, 0, REG_DWORD,
                               reinterpret_cast<const BYTE*>(&data), sizeof data);
    }
    if (error != ERROR_SUCCESS) throw systemError(kWhat, static_cast<DWORD>(error), kRemedy);
}

void PolicyKey::remove() {
    const LSTATUS error =
        RegDeleteKeyA(server_.empty() ? HKEY_LOCAL_MACHINE : root_.get(), path_.c_str());
    if (error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND)
        throw systemError(kWhat, static_cast<DWORD>(error), kRemedy);
}

bool recordIsOn(const std::string& server) {
    try {
        const PolicyKey key(server);
        for (const PolicyValue& value : policyValues()) {
            if (value.field == &Policy::deliveryRecord)
                return key.read(value).value_or(value.missing()) != 0;
        }
    } catch (const CommandError&) {
        return true;
    }
    return true;
}

}  // namespace velmora::ctl
