#include "port/policy_store.h"

#include <array>
#include <atomic>
#include <mutex>

#include "platform/critical_section.h"
#include "platform/own_identity.h"
#include "platform/registry.h"
#include "port/settings.h"

namespace velmora {
namespace {

void readValue(const RegistryKey& key, const PolicyValue& value, Policy& policy) {
    std::array<std::byte, sizeof(std::uint32_t)> area{};
    DWORD type = REG_NONE;
    const auto size = key.query(value.name, area, &type);
    const auto number =
        size ? parsePolicyValue(value, type, std::span(area).first(*size)) : std::nullopt;
    policy.*value.field = number.value_or(value.missing());
}

Policy readValues(const RegistryKey& key) {
    Policy policy;
    for (const PolicyValue& value : policyValues())
        readValue(key, value, policy);
    return policy;
}

/// The policy that was read last, for the time when it cannot be read.
class LastPolicy {
  public:
    /// Gives the policy as it is after the change.
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

/// Calls `read` with the policy's key, which is empty if there is none; it gives the change of the
/// last policy by what it has read. Gives that, or the last one if the key cannot be read.
template <class Read>
Policy machinePolicyBy(Read read) noexcept {
    try {
        const std::string path = policyRegistryKey(monitorRegistryKey());
        const OwnIdentity identity;
        LSTATUS status = ERROR_SUCCESS;
        const RegistryKey key = RegistryKey::open(path, &status);
        const bool known = status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND ||
                           status == ERROR_PATH_NOT_FOUND;
        if (!known) return lastPolicy().get();
        return lastPolicy().change(read(key));
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
    return machinePolicyBy([](const RegistryKey& key) {
        return [policy = key ? readValues(key) : Policy()](Policy& last) { last = policy; };
    });
}

std::uint32_t machinePolicy(std::uint32_t Policy::*field) noexcept {
    const Policy policy = machinePolicyBy([field](const RegistryKey& key) {
        Policy read;
        for (const PolicyValue& value : policyValues())
            if (key && value.field == field) readValue(key, value, read);
        return [field, number = read.*field](Policy& last) { last.*field = number; };
    });
    return policy.*field;
}

bool hasPolicy(const std::string& monitorKey) {
    LSTATUS status = ERROR_SUCCESS;
    RegistryKey::open(policyRegistryKey(monitorKey), &status);
    return status != ERROR_FILE_NOT_FOUND && status != ERROR_PATH_NOT_FOUND;
}

Policy readPolicy(const std::string& monitorKey) {
    const RegistryKey key = RegistryKey::open(policyRegistryKey(monitorKey));
    return key ? readValues(key) : Policy();
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
