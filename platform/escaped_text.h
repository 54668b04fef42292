#pragma once

#include <string>
#include <string_view>

namespace velmora {

// A profile file holds one line for each value, so texts with line ends are stored escaped: line
// feed as the two characters "\n", carriage return as "\r", tab as "\t". Nothing else is escaped.

/// Whether a byte begins a character of two bytes in the text's code page (IsDBCSLeadByte). The
/// second byte of such a character may be that of a backslash, which escapes nothing.
using LeadBytePredicate = bool (*)(unsigned char byte);

std::string escapeText(std::string_view text);
std::string unescapeText(std::string_view stored, LeadBytePredicate isLeadByte);

/// The profile key of a text: its escaped form without the "&" that mark mnemonics.
std::string textKey(std::string_view escaped);

}  // namespace velmora
