#pragma once

#include <cstdint>

#include "ipp/values.h"

namespace velmora {

// Tags of RFC 2910, 3.5, and what they mean here.

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

std::uint8_t ippDelimiterTag(IppGroup group) noexcept;

/// The group's index, or -1 when the tag selects none of ours.
int ippGroupOfTag(std::uint8_t tag) noexcept;

/// The row of a kind; null for a number that is no kind.
const IppKindRow* ippRowOfKind(IppValueKind kind) noexcept;

/// The row of a value tag; null for a tag that we do not know.
const IppKindRow* ippRowOfTag(std::uint8_t tag) noexcept;

/// The row of IppValueKind::rawOctets, which no tag leads to.
const IppKindRow& ippRawRow() noexcept;

}  // namespace velmora
