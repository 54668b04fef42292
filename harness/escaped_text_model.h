#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velmora::testing {

// A second implementation of the settings file's escaping for tests to compare with: character by
// character, written for clarity and not for speed. It includes nothing of the product.

/// The lead bytes of a code page with characters of two bytes (932).
inline bool modelBeginsTwoBytes(unsigned char byte) {
    return (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
}

inline std::string modelEscaped(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '\n')
            escaped += "\\n";
        else if (c == '\r')
            escaped += "\\r";
        else if (c == '\t')
            escaped += "\\t";
        else
            escaped += std::string(1, c);
    }
    return escaped;
}

inline std::string modelUnescaped(std::string_view stored, bool hasTwoByteCharacters) {
    std::vector<std::string> characters;
    for (std::size_t i = 0; i < stored.size(); ++i) {
        const bool two = hasTwoByteCharacters && i + 1 < stored.size() &&
                         modelBeginsTwoBytes(static_cast<unsigned char>(stored[i]));
        characters.emplace_back(stored.substr(i, two ? 2 : 1));
        if (two) ++i;
    }
    std::string text;
    for (std::size_t i = 0; i < characters.size(); ++i) {
        const std::string next = i + 1 < characters.size() ? characters[i + 1] : "";
        if (characters[i] == "\\" && next == "n")
            text += "\n";
        else if (characters[i] == "\\" && next == "r")
            text += "\r";
        else if (characters[i] == "\\" && next == "t")
            text += "\t";
        else {
            text += characters[i];
            continue;
        }
        ++i;
    }
    return text;
}

/// The key is the escaped text without the marks of mnemonics.
inline std::string modelKey(std::string_view escaped) {
    std::string key;
    for (const char c : escaped)
        if (c != '&') key += c;
    return key;
}

}  // namespace velmora::testing
