#pragma once

#include <cstdint>

namespace velmora {

/// Options of a connection beyond the protocol. A default object has none set.
struct ConnectionOptions {
    // Seconds; 0 leaves the platform's own.
    std::uint32_t connectTimeout = 0;
    std::uint32_t sendTimeout = 0;
    std::uint32_t receiveTimeout = 0;  ///< bounds the whole of an answer as well
    bool followRedirects = true;
    /// The body follows its headers at once, and each chunk goes out in one call of the platform.
    bool promptDelivery = false;

    bool operator==(const ConnectionOptions&) const = default;
};

}  // namespace velmora
