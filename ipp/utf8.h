#pragma once

#include <string>

namespace velmora {

/// Text of the ANSI code page as UTF-8, up to its first NUL. A text that does not fit the
/// conversion's areas of 10,240 elements is cut to what fits, and then to whole characters; one
/// that the system cannot convert at all gives an empty text.
std::string ansiToUtf8(const std::string& text);

}  // namespace velmora
