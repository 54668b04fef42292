#include "velmoractl/text/shown_text.h"

#include <cstdint>
#include <cstdio>

namespace velmora::ctl {
namespace {

struct Character {
    std::uint32_t code;
    std::size_t length;  ///< 0: not valid UTF-8
};

struct Lead {
    std::uint8_t mask, mark;
    std::size_t length;
    std::uint32_t lowest;  ///< shorter forms of the same character are not UTF-8
};
constexpr Lead kLeads[] = {
    {0x80, 0x00, 1, 0}, {0xE0, 0xC0, 2, 0x80}, {0xF0, 0xE0, 3, 0x800}, {0xF8, 0xF0, 4, 0x10000}};

Character firstCharacter(std::string_view text) {
    const auto first = static_cast<std::uint8_t>(text[0]);
    for (const Lead& lead : kLeads) {
        if ((first & lead.mask) != lead.mark) continue;
        if (text.size() < lead.length) return {};
        std::uint32_t code = first & static_cast<std::uint8_t>(~lead.mask);
        for (std::size_t i = 1; i < lead.length; ++i) {
            const auto byte = static_cast<std::uint8_t>(text[i]);
            if ((byte & 0xC0) != 0x80) return {};
            code = code << 6 | (byte & 0x3F);
        }
        const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
        if (code < lead.lowest || code > 0x10FFFF || surrogate) return {};
        return {code, lead.length};
    }
    return {};
}

/// Invisible characters that change what is shown: line and paragraph separators, marks and
/// overrides of the writing direction, the byte order mark, tags.
bool isInvisible(std::uint32_t code) {
    return (code >= 0x200B && code <= 0x200F) || (code >= 0x2028 && code <= 0x202E) ||
           (code >= 0x2060 && code <= 0x206F) || code == 0xFEFF || code == 0x061C ||
           (code >= 0xE0000 && code <= 0xE0FFF);
}

std::string escaped(const char* format, unsigned value) {
    char text[16];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::string shownWith(std::string_view text, std::size_t longest, char extra) {
    std::string result;
    std::size_t done = 0;
    while (done < text.size() && done < longest) {
        const Character character = firstCharacter(text.substr(done));
        const auto byte = static_cast<std::uint8_t>(text[done]);
        if (character.length == 0 || character.code < 0x20 || character.code == 0x7F) {
            result += escaped("\\x%02x", byte);
            ++done;
            continue;
        }
        if ((character.code >= 0x80 && character.code < 0xA0) || isInvisible(character.code)) {
            result += escaped("\\u{%x}", character.code);
        } else {
            if (character.code == '\\' || text[done] == extra) result += '\\';
            result += text.substr(done, character.length);
        }
        done += character.length;
    }
    if (done < text.size()) {
        result += "... (" + std::to_string(text.size()) + " bytes)";
    }
    return result;
}

}  // namespace

std::string shown(std::string_view text, std::size_t longest) {
    return shownWith(text, longest, '\0');
}

std::string inQuotes(std::string_view text, std::size_t longest) {
    return '"' + shownWith(text, longest, '"') + '"';
}

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = firstCharacter(text).length;
        if (length == 0) return false;
        text.remove_prefix(length);
    }
    return true;
}

}  // namespace velmora::ctl
