#include "ipp/tags.h"

#include <algorithm>
#include <array>
#include <bit>

namespace velmora {
namespace {

using Kind = IppValueKind;
using Layout = IppValueLayout;

// Row 0 to 2: the out-of-band kinds; row n from 3: the kind of bit n - 1.
constexpr std::array kKinds = {
    IppKindRow{Kind::unsupported, 0x10, Layout::nothing, true},
    IppKindRow{Kind::unknown, 0x12, Layout::nothing, false},
    IppKindRow{Kind::noValue, 0x13, Layout::nothing, false},
    IppKindRow{Kind::integer, 0x21, Layout::number, true},
    IppKindRow{Kind::boolean, 0x22, Layout::boolean, true},
    IppKindRow{Kind::enumeration, 0x23, Layout::number, true},
    IppKindRow{Kind::octetString, 0x30, Layout::text, true},
    IppKindRow{Kind::dateTime, 0x31, Layout::dateTime, true},
    IppKindRow{Kind::resolution, 0x32, Layout::resolution, true},
    IppKindRow{Kind::rangeOfInteger, 0x33, Layout::range, true},
    IppKindRow{Kind::textWithLanguage, 0x35, Layout::languageText, true},
    IppKindRow{Kind::nameWithLanguage, 0x36, Layout::languageText, true},
    IppKindRow{Kind::textWithoutLanguage, 0x41, Layout::text, true},
    IppKindRow{Kind::nameWithoutLanguage, 0x42, Layout::text, true},
    IppKindRow{Kind::keyword, 0x44, Layout::text, true},
    IppKindRow{Kind::uri, 0x45, Layout::text, true},
    IppKindRow{Kind::uriScheme, 0x46, Layout::text, true},
    IppKindRow{Kind::charset, 0x47, Layout::text, true},
    IppKindRow{Kind::naturalLanguage, 0x48, Layout::text, true},
    IppKindRow{Kind::mimeMediaType, 0x49, Layout::text, true},
    IppKindRow{Kind::rawOctets, 0x00, Layout::raw, false},
};

constexpr std::size_t rowIndex(Kind kind) {
    const auto code = static_cast<std::uint32_t>(kind);
    return code < 4 ? code : static_cast<std::size_t>(std::countr_zero(code)) + 1;
}

constexpr bool rowsStandAtTheirIndex() {
    for (std::size_t i = 0; i < kKinds.size(); ++i) {
        if (rowIndex(kKinds[i].kind) != i) return false;
    }
    return true;
}
static_assert(rowsStandAtTheirIndex());

constexpr std::uint8_t kNoRow = 0xFF;

constexpr std::array<std::uint8_t, 256> rowsByTag() {
    std::array<std::uint8_t, 256> rows{};
    rows.fill(kNoRow);
    for (std::size_t i = 0; i < kKinds.size(); ++i) {
        if (kKinds[i].tag != 0) rows[kKinds[i].tag] = static_cast<std::uint8_t>(i);
    }
    return rows;
}
constexpr std::array<std::uint8_t, 256> kRowsByTag = rowsByTag();

// In the order of IppGroup.
constexpr std::array<std::uint8_t, kIppGroupCount> kDelimiterTags = {0x01, 0x02, 0x04, 0x05};

}  // namespace

std::uint8_t ippDelimiterTag(IppGroup group) noexcept {
    return kDelimiterTags[static_cast<std::size_t>(group)];
}

int ippGroupOfTag(std::uint8_t tag) noexcept {
    const auto found = std::find(kDelimiterTags.begin(), kDelimiterTags.end(), tag);
    return found == kDelimiterTags.end() ? -1 : static_cast<int>(found - kDelimiterTags.begin());
}

const IppKindRow* ippRowOfKind(IppValueKind kind) noexcept {
    const std::size_t index = rowIndex(kind);
    return index < kKinds.size() && kKinds[index].kind == kind ? &kKinds[index] : nullptr;
}

const IppKindRow* ippRowOfTag(std::uint8_t tag) noexcept {
    const std::uint8_t row = kRowsByTag[tag];
    return row == kNoRow ? nullptr : &kKinds[row];
}

const IppKindRow& ippRawRow() noexcept {
    return kKinds[rowIndex(Kind::rawOctets)];
}

}  // namespace velmora
