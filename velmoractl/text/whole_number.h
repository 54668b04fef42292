#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

namespace velmora::ctl {

/// A text that is a decimal number and nothing else, with a minus sign only where the type has
/// one. None if it is another text or does not fit.
template <typename Number>
std::optional<Number> wholeNumber(std::string_view text) {
    Number value{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end) return std::nullopt;
    return value;
}

}  // namespace velmora::ctl
