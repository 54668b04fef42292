#include "port/policy_store.h"

#include <array>
#include <atomic>
#include <mutex>
#include <optional>

#include "directory/groups_store.h"
#include "platform/critical_section.h"
#include "platform/own_identity.h"
#include "platform/registry.h"
#include "port/settings.h"

namespace velmora {
namespace {

/// False if the registry refuses to return the value; one that is missing or too long counts as
/// read.
bool readValue(const RegistryKey& key, const PolicyValue& value, Policy& policy) {
    std::array<std::byte, sizeof(std::uint32_t)> area{};
    DWORD type = REG_NONE;
    LSTATUS status = ERROR_SUCCESS;
    const auto size = key.query(value.name, area, &type, &status);
    if (!size && status != ERROR_MORE_DATA && !isMissing(status)) return false;
    const auto number =
        size ? parsePolicyValue(value, type, std::span(area).first(*size)) : std::nullopt;
    policy.*value.field = number.value_or(value.missing());
    return true;
}

/// None if a value cannot be read.
std::optional<Policy> readValues(const RegistryKey& key) {
    Policy policy;
    for (const PolicyValue& value : policyValues())
        if (!readValue(key, value, policy)) return std::nullopt;
    return policy;
}

/// The policy that was read last, used when it cannot be read.
class LastPolicy {
  public:
    /// Returns the policy after the change.
    template <class Change>
    Policy change(Change change) {
        const std::lock_guard lock(lock_);
        change(policy_);
        return policy_;
    }
    Policy get() {
        const std::lock_guard lock(lock_);
        return policy_;
    }

  private:
    CriticalSection lock_;
    Policy policy_ = installedPolicy();
};

LastPolicy& lastPolicy() {
    static LastPolicy last;
    return last;
}

/// Calls `read` with the policy's key, which is empty if there is none. `change` puts what it has
/// read into the last policy; if anything cannot be read, that policy is used instead.
template <class Read, class Change>
Policy machinePolicyBy(Read read, Change change) noexcept {
    try {
        const std::string path = policyRegistryKey(monitorRegistryKey());
        const OwnIdentity identity;
        LSTATUS status = ERROR_SUCCESS;
        const RegistryKey key = RegistryKey::open(path, &status);
        const std::optional<Policy> found =
            status == ERROR_SUCCESS || isMissing(status) ? read(key) : std::nullopt;
        if (!found) return lastPolicy().get();
        return lastPolicy().change([&](Policy& last) { change(*found, last); });
    } catch (...) {
        // Memory has run out.
        return lastPolicy().get();
    }
}

}  // namespace

std::string policyRegistryKey(const std::string& monitorKey) {
    return monitorKey + "\\Policy";
}

Policy machinePolicy() noexcept {
    return machinePolicyBy([](const RegistryKey& key) { return key ? readValues(key) : Policy(); },
                           [](const Policy& found, Policy& last) { last = found; });
}

std::uint32_t machinePolicy(std::uint32_t Policy::*field) noexcept {
    const Policy policy = machinePolicyBy(
        [field](const RegistryKey& key) -> std::optional<Policy> {
            Policy found;
            for (const PolicyValue& value : policyValues())
                if (key && value.field == field && !readValue(key, value, found))
                    return std::nullopt;
            return found;
        },
        [field](const Policy& found, Policy& last) { last.*field = found.*field; });
    return policy.*field;
}

bool hasPolicy(const std::string& monitorKey) {
    LSTATUS status = ERROR_SUCCESS;
    RegistryKey::open(policyRegistryKey(monitorKey), &status);
    return status != ERROR_FILE_NOT_FOUND && status != ERROR_PATH_NOT_FOUND;
}

LSTATUS keptBack(const RegistryGroupsStore& store) {
    const LSTATUS status = store.loadError();
    return status != ERROR_SUCCESS && hasPolicy(monitorRegistryKey()) ? status : ERROR_SUCCESS;
}

Policy readPolicy(const std::string& monitorKey) {
    const RegistryKey key = RegistryKey::open(policyRegistryKey(monitorKey));
    return key ? readValues(key).value_or(Policy()) : Policy();
}

bool createPolicy(const std::string& monitorKey, const Policy& policy) {
    const std::string path = policyRegistryKey(monitorKey);
    bool written = true;
    {
        const RegistryKey key = RegistryKey::create(path);
        for (const PolicyValue& value : policyValues())
            written = written && key.setNumber(value.name, policy.*value.field);
    }
    // A policy with only some of its values would be taken for a complete one.
    if (!written) RegistryKey::deleteTree(path);
    return written;
}

}  // namespace velmora
