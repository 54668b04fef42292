#pragma once

#include <cstdint>
#include <string_view>

namespace velmora {

/// The keyword of an IPP status code (RFC 2911, 13.1); empty if the standard has none for it.
std::string_view ippStatusName(std::uint32_t status) noexcept;

}  // namespace velmora
