#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace velmora::ctl {

// The computer's trusted root certificates, which WinInet consults for the spooler's connections.

/// The SHA-256 of the bytes as hexText(); empty if the system does not have SHA-256 (before Windows
/// XP SP3).
std::string sha256Of(std::span<const std::uint8_t> bytes);

/// Adds a certificate (DER) and marks it as this program's. False: it is there already. Throws
/// CommandError, which begins with `what`.
bool trustCertificate(std::span<const std::uint8_t> encoded, const std::string& what);

enum class Untrusted {
    removed,
    absent,     ///< there is none with that fingerprint
    notOurs,    ///< trustCertificate() has not added it: nothing has been changed
    elsewhere,  ///< it comes from a policy or from Windows itself: nothing has been changed
};
/// Removes the certificate with that fingerprint (as sha256Of() has it), one that
/// trustCertificate() has not added only if `any` says so. Throws CommandError, which begins with
/// `what`.
Untrusted untrustCertificate(const std::string& sha256, bool any, const std::string& what);

}  // namespace velmora::ctl
