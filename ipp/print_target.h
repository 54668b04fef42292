#pragma once

#include <cstdint>
#include <string>

namespace velmora {

/// One printer that a job is delivered to.
struct PrintTarget {
    std::string url;
    std::uint8_t useAuthentication = 0;  ///< boolean
    std::string userName;
    std::string password;

    bool operator==(const PrintTarget&) const = default;
};

}  // namespace velmora
