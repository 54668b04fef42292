#pragma once

#include <cstdint>

namespace velmora {

/// What may be asked of a connection beyond the protocol. A default object asks for nothing.
struct ConnectionOptions {
    // Seconds; 0 leaves the platform's own.
    std::uint32_t connectTimeout = 0;
    std::uint32_t sendTimeout = 0;
    std::uint32_t receiveTimeout = 0;  ///< bounds the whole of an answer as well
    bool followRedirects = true;
    bool promptDelivery = false;  ///< the body follows its headers at once

    bool operator==(const ConnectionOptions&) const = default;
};

}  // namespace velmora
