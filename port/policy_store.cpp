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

Policy readValues(const RegistryKey& key) {
    Policy policy;
    for (const PolicyValue& value : policyValues()) {
        std::array<std::byte, sizeof(std::uint32_t)> area{};
        DWORD type = REG_NONE;
        const auto size = key.query(value.name, area, &type);
        if (!size) continue;
        if (const auto number = parsePolicyValue(value, type, std::span(area).first(*size)))
            policy.*value.field = *number;
    }
    return policy;
}

/// The policy that was read last, for the time when it cannot be read.
class LastPolicy {
  public:
    void set(const Policy& policy) {
        const std::lock_guard lock(lock_);
        policy_ = policy;
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

}  // namespace

std::string policyRegistryKey(const std::string& monitorKey) {
    return monitorKey + "\\Policy";
}

Policy machinePolicy() noexcept {
    try {
        const std::string path = policyRegistryKey(monitorRegistryKey());
        const OwnIdentity identity;
        LSTATUS status = ERROR_SUCCESS;
        const RegistryKey key = RegistryKey::open(path, &status);
        const bool known = status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND ||
                           status == ERROR_PATH_NOT_FOUND;
        if (!known) return lastPolicy().get();
        const Policy policy = key ? readValues(key) : Policy();
        lastPolicy().set(policy);
        return policy;
    } catch (...) {
        // Memory has run out.
        return lastPolicy().get();
    }
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
