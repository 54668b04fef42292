#include "platform/escaped_text.h"

#include <algorithm>
#include <array>
#include <utility>

namespace velmora {
namespace {

constexpr std::array kEscapes{std::pair{'\n', 'n'}, std::pair{'\r', 'r'}, std::pair{'\t', 't'}};

}  // namespace

std::string escapeText(std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        const auto* escape =
            std::find_if(kEscapes.begin(), kEscapes.end(), [c](auto e) { return e.first == c; });
        if (escape == kEscapes.end()) {
            escaped += c;
        } else {
            escaped += '\\';
            escaped += escape->second;
        }
    }
    return escaped;
}

std::string unescapeText(std::string_view stored, LeadBytePredicate isLeadByte) {
    std::string text;
    text.reserve(stored.size());
    for (std::size_t i = 0; i < stored.size(); ++i) {
        const bool more = i + 1 < stored.size();
        if (more && isLeadByte(static_cast<unsigned char>(stored[i]))) {
            text += stored[i++];
        } else if (more && stored[i] == '\\') {
            const char code = stored[i + 1];
            const auto* escape = std::find_if(kEscapes.begin(), kEscapes.end(),
                                              [code](auto e) { return e.second == code; });
            if (escape != kEscapes.end()) {
                text += escape->first;
                ++i;
                continue;
            }
        }
        text += stored[i];
    }
    return text;
}

std::string textKey(std::string_view escaped) {
    std::string key(escaped);
    std::erase(key, '&');
    return key;
}

}  // namespace velmora
