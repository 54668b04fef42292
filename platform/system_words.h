#pragma once

#include <cstdint>
#include <string>

namespace velmora {

/// Windows's message for a Win32 or WinInet error code, on one line and without a final period;
/// empty if it has none. FormatMessageW.
std::wstring systemWords(std::uint32_t code);

}  // namespace velmora
