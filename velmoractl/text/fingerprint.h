#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace velmora::ctl {

/// Bytes as 64 hexadecimal digits for SHA-256, capital, without anything between.
std::string hexText(std::span<const std::uint8_t> bytes);

/// A SHA-256 fingerprint as people copy it, with colons, blanks or dashes between, in capital or
/// small letters, in the form of hexText(). None if it is not one.
std::optional<std::string> fingerprintOf(std::string_view text);

/// For people: a colon after every two digits.
std::string shownFingerprint(const std::string& hex);

}  // namespace velmora::ctl
