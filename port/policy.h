#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "ipp/connection_options.h"

namespace velmora {

/// The administrator's decisions about behaviour beyond the monitor's default. A default object is
/// a machine without a policy: its values are what a missing registry value means, and every byte,
/// call and result is then what deployed systems are used to.
///
/// Plain numbers, as in the registry; policyValues() has their names, bounds and meaning.
struct Policy {
    std::uint32_t administratorsOnly = 0;
    std::uint32_t statedSizes = 0;
    std::uint32_t closeConnections = 0;
    std::uint32_t followRedirects = 1;
    std::uint32_t connectTimeout = 0;  ///< seconds; 0: the platform's own
    std::uint32_t sendTimeout = 0;     ///< seconds; 0: the platform's own
    std::uint32_t receiveTimeout = 0;  ///< seconds; 0: the platform's own
    std::uint32_t promptDelivery = 0;
    std::uint32_t deliveryRecord = 0;  ///< MiB; 0: none
    std::uint32_t eventLog = 0;        ///< 0 nothing, 1 failures, 2 everything

    bool operator==(const Policy&) const = default;
};

/// One value of the policy. All are REG_DWORD with 0 as the lowest number.
struct PolicyValue {
    const char* name;  ///< of the registry value
    std::uint32_t Policy::*field;
    std::uint32_t highest;
    std::uint32_t installed;  ///< what a new installation writes
    const char* unit;         ///< empty for switches and choices
    const char* meaning;      ///< one line for administrators

    /// The behaviour of a machine without the value.
    std::uint32_t missing() const noexcept { return Policy().*field; }
};

/// Every value, in the order in which tools and documents list them.
std::span<const PolicyValue> policyValues() noexcept;

/// The number that a registry value of `type` with these bytes means; none when it is not a
/// REG_DWORD within the bounds, which counts as a missing value.
std::optional<std::uint32_t> parsePolicyValue(const PolicyValue& value, std::uint32_t type,
                                              std::span<const std::byte> data) noexcept;

/// The policy's options for every connection to a printer.
ConnectionOptions connectionOptions(const Policy& policy) noexcept;

/// What a new installation writes.
Policy installedPolicy() noexcept;

}  // namespace velmora
