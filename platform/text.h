#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velmora {

/// ANSI code page to UTF-16; bytes that the code page lacks become the system's default character.
std::wstring toWide(std::string_view ansi);
void appendWide(std::wstring& text, std::string_view ansi);

/// UTF-16 to the ANSI code page; characters outside it become the system's default character.
std::string toAnsi(std::wstring_view wide);

/// UTF-16 to UTF-8 and back; what is not valid becomes the replacement character.
std::string utf8FromWide(std::wstring_view wide);
std::wstring wideFromUtf8(std::string_view utf8);

/// The same for a text that must round-trip: none if the code page lacks one of its characters. No
/// best-fit characters, no default character.
std::optional<std::string> toAnsiExactly(std::wstring_view wide);

}  // namespace velmora
