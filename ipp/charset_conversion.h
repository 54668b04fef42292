#pragma once

#include <windows.h>

#include <string>

namespace velmora {

/// The two conversions of unicows.dll, where that library is installed: on systems whose own
/// functions do not support UTF-8. If a member is null, the system's function is used.
struct CharsetConversion {
    decltype(&::WideCharToMultiByte) fromWide = nullptr;
    decltype(&::MultiByteToWideChar) toWide = nullptr;
};

/// Set once when the program starts.
const CharsetConversion& charsetConversion() noexcept;

/// ansiToUtf8() through the given functions.
std::string ansiToUtf8(const std::string& text, const CharsetConversion& conversion);

}  // namespace velmora
