#include "ipp/attribute_names.h"

namespace velmora {
namespace {

constexpr std::size_t kSlots = 512;  // a power of two, four times the names: short probe runs
constexpr std::uint8_t kEmpty = 0xFF;
static_assert(IppAttributeNames::kCount < kEmpty);

// The length and four characters distinguish the names well enough; reading a whole long name would
// cost more than the comparison that follows anyway.
constexpr std::size_t slotOf(std::string_view name) {
    const std::size_t length = name.size();
    if (length == 0) return 0;
    std::uint32_t hash = static_cast<std::uint32_t>(length);
    for (const std::size_t at : {length - 1, length / 2, length / 4, length * 3 / 4}) {
        hash = hash * 0x01000193u + static_cast<std::uint8_t>(name[at]);
    }
    return (hash ^ hash >> 11) % kSlots;
}

// Open addressing. Names go in by ascending index, so the first match of a probe run is the one
// that a scan of the table from its start would find.
constexpr std::array<std::uint8_t, kSlots> fillSlots() {
    std::array<std::uint8_t, kSlots> slots{};
    slots.fill(kEmpty);
    for (std::size_t i = 0; i < IppAttributeNames::kCount; ++i) {
        std::size_t slot = slotOf(IppAttributeNames::all()[i]);
        while (slots[slot] != kEmpty)
            slot = (slot + 1) % kSlots;
        slots[slot] = static_cast<std::uint8_t>(i);
    }
    return slots;
}

constexpr std::array<std::uint8_t, kSlots> kSlotTable = fillSlots();

}  // namespace

int IppAttributeNames::indexOf(std::string_view name) noexcept {
    for (std::size_t slot = slotOf(name); kSlotTable[slot] != kEmpty; slot = (slot + 1) % kSlots) {
        if (kNames[kSlotTable[slot]] == name) return kSlotTable[slot];
    }
    return -1;
}

std::string_view IppAttributeNames::nameOf(int index) noexcept {
    if (index < 0 || static_cast<std::size_t>(index) >= kCount) return "Unrecognized";
    return kNames[static_cast<std::size_t>(index)];
}

}  // namespace velmora
