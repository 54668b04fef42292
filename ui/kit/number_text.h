#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace velmora {

/// The number in the text of an edit box: decimal digits, optionally a sign before and blanks
/// or tabs around them. None for anything else. A number beyond 64 bits becomes the largest or the
/// smallest one.
std::optional<std::int64_t> parseNumber(std::string_view text);

/// Replaces the placeholders "%1!d!", "%2!d!"... of a message text by numbers; "%%" stands for a
/// percent sign and "%n" for a line end, as in FormatMessage. None when the text has any other use
/// of "%": a translated text must not be able to make us read arguments that do not exist, as
/// FormatMessage would with "%1" or "%3!d!".
std::optional<std::string> formatNumbers(std::string_view text, std::span<const int> numbers);
std::optional<std::string> formatNumbers(std::string_view text, std::initializer_list<int> numbers);

}  // namespace velmora
