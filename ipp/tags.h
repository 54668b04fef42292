#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "ipp/values.h"

namespace velmora {

// Tags of RFC 2910, 3.5, and their meaning here.

/// The four attribute groups, in the order in which a message holds them.
enum class IppGroup : std::uint8_t { operation = 0, job = 1, printer = 2, unsupported = 3 };
inline constexpr unsigned kIppGroupCount = 4;

inline constexpr std::uint8_t kIppEndOfAttributesTag = 0x03;
/// Tags up to here are delimiters, tags above are value tags.
inline constexpr std::uint8_t kIppLastDelimiterTag = 0x0F;

/// The layout of a value field.
enum class IppValueLayout : std::uint8_t {
    nothing,
    number,
    boolean,
    dateTime,
    resolution,
    range,
    languageText,
    text,
    raw,
};

struct IppKindRow {
    IppValueKind kind;
    std::uint8_t tag;
    IppValueLayout layout;
    /// A reader that keeps to RFC 2910's mandatory kinds takes it.
    bool readByDefault;
};

// Row 0 to 2: the out-of-band kinds; row n from 3: the kind of bit n - 1.
inline constexpr std::array kIppKinds = {
    IppKindRow{IppValueKind::unsupported, 0x10, IppValueLayout::nothing, true},
    IppKindRow{IppValueKind::unknown, 0x12, IppValueLayout::nothing, false},
    IppKindRow{IppValueKind::noValue, 0x13, IppValueLayout::nothing, false},
    IppKindRow{IppValueKind::integer, 0x21, IppValueLayout::number, true},
    IppKindRow{IppValueKind::boolean, 0x22, IppValueLayout::boolean, true},
    IppKindRow{IppValueKind::enumeration, 0x23, IppValueLayout::number, true},
    IppKindRow{IppValueKind::octetString, 0x30, IppValueLayout::text, true},
    IppKindRow{IppValueKind::dateTime, 0x31, IppValueLayout::dateTime, true},
    IppKindRow{IppValueKind::resolution, 0x32, IppValueLayout::resolution, true},
    IppKindRow{IppValueKind::rangeOfInteger, 0x33, IppValueLayout::range, true},
    IppKindRow{IppValueKind::textWithLanguage, 0x35, IppValueLayout::languageText, true},
    IppKindRow{IppValueKind::nameWithLanguage, 0x36, IppValueLayout::languageText, true},
    IppKindRow{IppValueKind::textWithoutLanguage, 0x41, IppValueLayout::text, true},
    IppKindRow{IppValueKind::nameWithoutLanguage, 0x42, IppValueLayout::text, true},
    IppKindRow{IppValueKind::keyword, 0x44, IppValueLayout::text, true},
    IppKindRow{IppValueKind::uri, 0x45, IppValueLayout::text, true},
    IppKindRow{IppValueKind::uriScheme, 0x46, IppValueLayout::text, true},
    IppKindRow{IppValueKind::charset, 0x47, IppValueLayout::text, true},
    IppKindRow{IppValueKind::naturalLanguage, 0x48, IppValueLayout::text, true},
    IppKindRow{IppValueKind::mimeMediaType, 0x49, IppValueLayout::text, true},
    IppKindRow{IppValueKind::rawOctets, 0x00, IppValueLayout::raw, false},
};

constexpr std::size_t ippRowIndex(IppValueKind kind) noexcept {
    const auto code = static_cast<std::uint32_t>(kind);
    return code < 4 ? code : static_cast<std::size_t>(std::countr_zero(code)) + 1;
}

std::uint8_t ippDelimiterTag(IppGroup group) noexcept;

/// Nothing if the tag selects none of our groups.
std::optional<IppGroup> ippGroupOfTag(std::uint8_t tag) noexcept;

/// The row of a kind; null for a number that is not a kind.
inline const IppKindRow* ippRowOfKind(IppValueKind kind) noexcept {
    const std::size_t index = ippRowIndex(kind);
    return index < kIppKinds.size() && kIppKinds[index].kind == kind ? &kIppKinds[index] : nullptr;
}

/// The row of a value tag; null for a tag that we do not know.
const IppKindRow* ippRowOfTag(std::uint8_t tag) noexcept;

/// The row of IppValueKind::rawOctets, which no tag leads to.
const IppKindRow& ippRawRow() noexcept;

}  // namespace velmora
