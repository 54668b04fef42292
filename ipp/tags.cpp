#include "ipp/tags.h"

#include <algorithm>
#include <array>

namespace velmora {
namespace {

constexpr bool rowsStandAtTheirIndex() {
    for (std::size_t row = 0; row < kIppKinds.size(); ++row) {
        if (ippRowIndex(kIppKinds[row].kind) != row) return false;
    }
    return true;
}
static_assert(rowsStandAtTheirIndex());

constexpr std::uint8_t kNoRow = 0xFF;

constexpr std::array<std::uint8_t, 256> rowsByTag() {
    std::array<std::uint8_t, 256> rows{};
    rows.fill(kNoRow);
    for (std::size_t i = 0; i < kIppKinds.size(); ++i) {
        if (kIppKinds[i].tag != 0) rows[kIppKinds[i].tag] = static_cast<std::uint8_t>(i);
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

std::optional<IppGroup> ippGroupOfTag(std::uint8_t tag) noexcept {
    const auto found = std::find(kDelimiterTags.begin(), kDelimiterTags.end(), tag);
    if (found == kDelimiterTags.end()) return std::nullopt;
    return static_cast<IppGroup>(found - kDelimiterTags.begin());
}

const IppKindRow* ippRowOfTag(std::uint8_t tag) noexcept {
    const std::uint8_t row = kRowsByTag[tag];
    return row == kNoRow ? nullptr : &kIppKinds[row];
}

const IppKindRow& ippRawRow() noexcept {
    return kIppKinds[ippRowIndex(IppValueKind::rawOctets)];
}

}  // namespace velmora
