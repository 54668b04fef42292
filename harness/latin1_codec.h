#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "velmoractl/text/text_codec.h"

namespace velmora::testing {

/// A code page that every system has: Latin-1.
inline const ctl::TextCodec& latin1Codec() {
    static const ctl::TextCodec codec{
        [](const std::string& stored) {
            std::string utf8;
            for (const char c : stored) {
                const auto byte = static_cast<unsigned char>(c);
                if (byte >= 0x80) utf8 += static_cast<char>(0xC0 | byte >> 6);
                utf8 += static_cast<char>(byte >= 0x80 ? 0x80 | (byte & 0x3F) : byte);
            }
            return utf8;
        },
        [](const std::string& utf8) -> std::optional<std::string> {
            std::string stored;
            for (std::size_t i = 0; i < utf8.size(); ++i) {
                const auto byte = static_cast<unsigned char>(utf8[i]);
                if (byte >= 0xC4 || (byte >= 0x80 && i + 1 == utf8.size())) return std::nullopt;
                stored +=
                    static_cast<char>(byte >= 0x80 ? (byte & 3) << 6 | (utf8[++i] & 0x3F) : byte);
            }
            return stored;
        }};
    return codec;
}

}  // namespace velmora::testing
