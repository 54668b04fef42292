#pragma once

#include <cstdint>

namespace velmora {

// Numbers in network byte order (RFC 2910, 3), at any alignment.

inline std::uint16_t loadBig16(const std::uint8_t* p) noexcept {
    return static_cast<std::uint16_t>(p[0] << 8 | p[1]);
}

inline std::uint32_t loadBig32(const std::uint8_t* p) noexcept {
    return std::uint32_t{p[0]} << 24 | std::uint32_t{p[1]} << 16 | std::uint32_t{p[2]} << 8 | p[3];
}

inline void storeBig16(std::uint8_t* p, std::uint16_t value) noexcept {
    p[0] = static_cast<std::uint8_t>(value >> 8);
    p[1] = static_cast<std::uint8_t>(value);
}

inline void storeBig32(std::uint8_t* p, std::uint32_t value) noexcept {
    p[0] = static_cast<std::uint8_t>(value >> 24);
    p[1] = static_cast<std::uint8_t>(value >> 16);
    p[2] = static_cast<std::uint8_t>(value >> 8);
    p[3] = static_cast<std::uint8_t>(value);
}

}  // namespace velmora
