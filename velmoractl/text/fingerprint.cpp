#include "velmoractl/text/fingerprint.h"

namespace velmora::ctl {

std::string hexText(std::span<const std::uint8_t> bytes) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0xF];
    }
    return text;
}

std::optional<std::string> fingerprintOf(std::string_view text) {
    constexpr std::size_t kDigits = 64;
    std::string hex;
    for (const char c : text) {
        if (c == ':' || c == ' ' || c == '-') continue;
        if (c >= 'a' && c <= 'f') {
            hex += static_cast<char>(c - 'a' + 'A');
        } else if ((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F')) {
            hex += c;
        } else {
            return std::nullopt;
        }
    }
    if (hex.size() != kDigits) return std::nullopt;
    return hex;
}

std::string shownFingerprint(const std::string& hex) {
    std::string text;
    for (std::size_t i = 0; i < hex.size(); ++i) {
        if (i != 0 && i % 2 == 0) text += ':';
        text += hex[i];
    }
    return text;
}

}  // namespace velmora::ctl
