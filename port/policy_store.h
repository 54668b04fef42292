#pragma once

#include <windows.h>

#include <string>

#include "port/policy.h"

namespace velmora {

class RegistryGroupsStore;

// The machine's policy is kept below the monitor's key, key "Policy", one value each. `monitorKey`
// is that key below HKEY_LOCAL_MACHINE, without a trailing backslash.

/// "<monitor key>\\Policy".
std::string policyRegistryKey(const std::string& monitorKey);

/// The policy in force on this computer, read afresh as the process itself: the calling thread may
/// impersonate a user who may not read it. If an existing policy cannot be read, the one that was
/// read last applies, or that of a new installation: a fault must not open what was closed.
Policy machinePolicy() noexcept;

/// A single value, read in the same way: for values that every call needs.
std::uint32_t machinePolicy(std::uint32_t Policy::*field) noexcept;

/// Whether there is a key, whatever is in it.
bool hasPolicy(const std::string& monitorKey);

/// On a machine with a policy, the code with which the registry refused to return a part of the
/// directory that `store` has loaded last: whoever gets a part would store it in place of the
/// whole. 0 if everything was read, and without a policy, since deployed systems read what can be
/// read.
LSTATUS keptBack(const RegistryGroupsStore& store);

/// The values that the key holds; missing ones as in a default policy.
Policy readPolicy(const std::string& monitorKey);

/// Writes every value into a new key. False when that failed; there is then no key.
bool createPolicy(const std::string& monitorKey, const Policy& policy);

}  // namespace velmora
