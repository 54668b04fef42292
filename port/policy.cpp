#include "port/policy.h"

namespace velmora {
namespace {

// winnt.h's REG_DWORD: 32 bits, little-endian.
constexpr std::uint32_t kRegDword = 4;

constexpr std::uint32_t kDay = 86400;

constexpr PolicyValue kValues[] = {
    {"AdministratorsOnly", &Policy::administratorsOnly, 1, 1, "",
     "1: only those who may administer the print server reach the monitor's Xcv commands"},
    {"StatedSizes", &Policy::statedSizes, 1, 1, "",
     "1: an Xcv input is read no further than the size stated with it"},
    {"CloseConnections", &Policy::closeConnections, 1, 1, "",
     "1: the connection of a job to one printer is closed when the job ends"},
    {"FollowRedirects", &Policy::followRedirects, 1, 0, "",
     "0: a printer that redirects to another address is not followed"},
    {"ConnectTimeout", &Policy::connectTimeout, kDay, 30, "seconds",
     "longest time to connect to a printer; 0: the platform's default"},
    {"SendTimeout", &Policy::sendTimeout, kDay, 120, "seconds",
     "longest time for sending one piece; 0: the platform's default"},
    {"ReceiveTimeout", &Policy::receiveTimeout, kDay, 300, "seconds",
     "longest time for the whole of an answer; 0: the platform's default"},
    {"PromptDelivery", &Policy::promptDelivery, 1, 1, "",
     "1: a request's body follows its headers at once"},
    {"DeliveryRecord", &Policy::deliveryRecord, 4096, 20, "MiB",
     "how much of the record of deliveries is kept; 0: no record"},
    {"EventLog", &Policy::eventLog, 2, 1, "",
     "what goes to the Windows event log: 0 nothing, 1 failures, 2 everything"},
};

}  // namespace

std::span<const PolicyValue> policyValues() noexcept {
    return kValues;
}

std::optional<std::uint32_t> parsePolicyValue(const PolicyValue& value, std::uint32_t type,
                                              std::span<const std::byte> data) noexcept {
    if (type != kRegDword || data.size() != sizeof(std::uint32_t)) return std::nullopt;
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < data.size(); ++i)
        number |= std::to_integer<std::uint32_t>(data[i]) << 8 * i;
    if (number > value.highest) return std::nullopt;
    return number;
}

ConnectionOptions connectionOptions(const Policy& policy) noexcept {
    ConnectionOptions options;
    options.connectTimeout = policy.connectTimeout;
    options.sendTimeout = policy.sendTimeout;
    options.receiveTimeout = policy.receiveTimeout;
    options.followRedirects = policy.followRedirects != 0;
    options.promptDelivery = policy.promptDelivery != 0;
    return options;
}

Policy installedPolicy() noexcept {
    Policy policy;
    for (const PolicyValue& value : kValues)
        policy.*value.field = value.installed;
    return policy;
}

}  // namespace velmora
