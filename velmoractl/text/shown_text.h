#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace velmora::ctl {

/// UTF-8 that somebody else wrote (a printer, a stored name), made safe for a terminal and a log:
/// control characters, terminal escapes, characters that turn the direction of writing, and bytes
/// that are not valid UTF-8 become \xNN or \u{NNNN}; a backslash becomes two; what is longer than
/// `longest` bytes is cut and marked as cut.
std::string shown(std::string_view text, std::size_t longest = 300);

/// The same in double quotes, which are escaped inside.
std::string inQuotes(std::string_view text, std::size_t longest = 300);

/// The rule for names, in the words that every verb uses.
inline constexpr std::string_view kCaseRule =
    "capital and small letters matter, but two names may not differ in them alone";

/// Whether the bytes are UTF-8 (RFC 3629), so that a JSON text may hold them.
bool isUtf8(std::string_view text);

}  // namespace velmora::ctl
