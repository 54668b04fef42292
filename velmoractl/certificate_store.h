#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace velmora::ctl {

// The computer's trusted root certificates, which WinInet consults for the spooler's connections.

/// The SHA-256 of the bytes as hexText(); empty if the system does not have SHA-256 (before Windows
/// XP SP3).
std::string sha256Of(std::span<const std::uint8_t> bytes);

/// Adds a certificate (DER). False: it is there already. Throws CommandError, which
/// begins with `what`.
bool trustCertificate(std::span<const std::uint8_t> encoded, const std::string& what);

}  // namespace velmora::ctl
