#pragma once

#include <cstdint>
#include <string>

namespace velmora {

/// How one printer is reached. All text is in the ANSI code page.
struct PrinterAddress {
    std::string url;
    std::uint8_t useAuthentication = 0;  ///< boolean: with the user name and password below
    std::string userName;
    std::string password;  ///< in clear

    bool operator==(const PrinterAddress&) const = default;
};

/// One printer that a job is delivered to.
using PrintTarget = PrinterAddress;

/// The part of an address that is kept after a user has entered it: without authentication no user
/// name and no password, which would be stored but never shown.
inline PrinterAddress withUsedCredentials(PrinterAddress address) {
    if (address.useAuthentication == 0) {
        address.userName.clear();
        address.password.clear();
    }
    return address;
}

}  // namespace velmora
