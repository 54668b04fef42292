#include "ipp/new_attribute.h"

#include <cstddef>
#include <cstring>
#include <limits>
#include <new>

#include "ipp/tags.h"

namespace velmora {
namespace {

// A block holds the attribute, then its values as an array, then their texts. Values are filled
// where they lie: a value put together elsewhere and copied costs more than its allocation, since
// the processor must wait for the small stores before it can load them as a whole.

/// An attribute with `count` values, linked but not filled, and room for `texts` bytes after them.
UniqueIppAttribute newBlock(int nameIndex, std::size_t count, std::size_t texts) noexcept {
    if (count > (std::numeric_limits<std::size_t>::max() / 2 - texts) / sizeof(IppValue)) {
        return nullptr;
    }
    const std::size_t size = sizeof(IppAttribute) + count * sizeof(IppValue) + texts;
    void* const block = ::operator new(size, std::nothrow);
    if (block == nullptr) return nullptr;
    auto* const attribute = new (block) IppAttribute;
    auto* const values = reinterpret_cast<IppValue*>(attribute + 1);
    attribute->nameIndex = nameIndex;
    attribute->groupInstance = 0;
    attribute->next = nullptr;
    attribute->firstValue = count == 0 ? nullptr : values;
    attribute->ownsStorage = true;
    for (std::size_t i = 0; i < count; ++i) {
        new (values + i) IppValue;
        values[i].next = i + 1 == count ? nullptr : values + i + 1;
    }
    return UniqueIppAttribute(attribute);
}

const char* copyText(char*& place, const char* text, std::size_t length) noexcept {
    char* const copy = place;
    std::memcpy(copy, text, length);
    copy[length] = '\0';
    place += length + 1;
    return copy;
}

UniqueIppAttribute newTexts(int nameIndex, IppValueKind kind,
                            std::span<const char* const> texts) noexcept {
    const auto at = [texts](std::size_t i) noexcept { return texts[i] == nullptr ? "" : texts[i]; };
    // Most attributes have one value: its length is not measured twice.
    const std::size_t firstLength = texts.empty() ? 0 : std::strlen(at(0));
    std::size_t size = firstLength + 1;
    for (std::size_t i = 1; i < texts.size(); ++i)
        size += std::strlen(at(i)) + 1;
    UniqueIppAttribute attribute = newBlock(nameIndex, texts.size(), size);
    if (!attribute || texts.empty()) return attribute;
    IppValue* value = attribute->firstValue;
    auto* place = reinterpret_cast<char*>(value + texts.size());
    for (std::size_t i = 0; i < texts.size(); ++i, ++value) {
        const std::size_t length = i == 0 ? firstLength : std::strlen(at(i));
        value->kind = kind;
        value->text.bytes = copyText(place, at(i), length);
        value->text.length = static_cast<std::uint32_t>(length);
    }
    return attribute;
}

/// `store(value, payload)` fills the value's payload.
template <class Payload, class Store>
UniqueIppAttribute newFixed(int nameIndex, IppValueKind kind, std::span<const Payload> payloads,
                            Store store) noexcept {
    UniqueIppAttribute attribute = newBlock(nameIndex, payloads.size(), 0);
    if (!attribute) return nullptr;
    IppValue* value = attribute->firstValue;
    for (const Payload& payload : payloads) {
        value->kind = kind;
        store(*value, payload);
        ++value;
    }
    return attribute;
}

/// What the value's texts need in the block, terminators included.
std::size_t textSize(const IppValue& value, IppValueLayout layout) noexcept {
    switch (layout) {
        case IppValueLayout::text:
            return std::size_t{value.text.length} + 1;
        case IppValueLayout::raw:
            return std::size_t{value.raw.length} + 1;
        case IppValueLayout::languageText:
            return std::strlen(value.languageText.language) + std::strlen(value.languageText.text) +
                   2;
        default:
            return 0;
    }
}

/// Replaces the value's borrowed texts by copies at `place`, which moves on.
void ownTexts(IppValue& value, IppValueLayout layout, char*& place) noexcept {
    switch (layout) {
        case IppValueLayout::text:
            value.text.bytes = copyText(place, value.text.bytes, value.text.length);
            break;
        case IppValueLayout::raw:
            value.raw.bytes = copyText(place, value.raw.bytes, value.raw.length);
            break;
        case IppValueLayout::languageText: {
            IppLanguageText& pair = value.languageText;
            pair.language = copyText(place, pair.language, std::strlen(pair.language));
            pair.text = copyText(place, pair.text, std::strlen(pair.text));
            break;
        }
        default:
            break;
    }
}

void storeNumber(IppValue& value, std::int32_t number) noexcept {
    value.number = number;
}

}  // namespace

void IppAttributeDeleter::operator()(IppAttribute* attribute) const noexcept {
    ::operator delete(attribute);
}

UniqueIppAttribute newIntegerAttribute(int nameIndex,
                                       std::span<const std::int32_t> values) noexcept {
    return newFixed(nameIndex, IppValueKind::integer, values, storeNumber);
}

UniqueIppAttribute newBooleanAttribute(int nameIndex, std::span<const bool> values) noexcept {
    return newFixed(nameIndex, IppValueKind::boolean, values,
                    [](IppValue& value, bool payload) noexcept { value.number = payload ? 1 : 0; });
}

UniqueIppAttribute newEnumAttribute(int nameIndex, std::span<const std::int32_t> values) noexcept {
    return newFixed(nameIndex, IppValueKind::enumeration, values, storeNumber);
}

UniqueIppAttribute newResolutionAttribute(int nameIndex,
                                          std::span<const IppResolution> values) noexcept {
    return newFixed(nameIndex, IppValueKind::resolution, values,
                    [](IppValue& value, const IppResolution& payload) noexcept {
                        value.resolution.crossFeed = payload.crossFeed;
                        value.resolution.feed = payload.feed;
                        value.resolution.units = payload.units;
                    });
}

UniqueIppAttribute newRangeAttribute(int nameIndex, std::span<const IppRange> values) noexcept {
    return newFixed(nameIndex, IppValueKind::rangeOfInteger, values,
                    [](IppValue& value, const IppRange& payload) noexcept {
                        value.range.lower = payload.lower;
                        value.range.upper = payload.upper;
                    });
}

UniqueIppAttribute newNameAttribute(int nameIndex, std::span<const char* const> values) noexcept {
    return newTexts(nameIndex, IppValueKind::nameWithoutLanguage, values);
}

UniqueIppAttribute newKeywordAttribute(int nameIndex,
                                       std::span<const char* const> values) noexcept {
    return newTexts(nameIndex, IppValueKind::keyword, values);
}

UniqueIppAttribute newUriAttribute(int nameIndex, std::span<const char* const> values) noexcept {
    return newTexts(nameIndex, IppValueKind::uri, values);
}

UniqueIppAttribute newCharsetAttribute(int nameIndex,
                                       std::span<const char* const> values) noexcept {
    return newTexts(nameIndex, IppValueKind::charset, values);
}

UniqueIppAttribute newNaturalLanguageAttribute(int nameIndex,
                                               std::span<const char* const> values) noexcept {
    return newTexts(nameIndex, IppValueKind::naturalLanguage, values);
}

UniqueIppAttribute newIppAttribute(int nameIndex, std::span<const IppValue> values) noexcept {
    std::size_t texts = 0;
    for (const IppValue& value : values) {
        const IppKindRow* const row = ippRowOfKind(value.kind);
        if (row == nullptr) return nullptr;
        texts += textSize(value, row->layout);
    }
    UniqueIppAttribute attribute = newBlock(nameIndex, values.size(), texts);
    if (!attribute || values.empty()) return attribute;
    IppValue* value = attribute->firstValue;
    auto* place = reinterpret_cast<char*>(value + values.size());
    for (const IppValue& source : values) {
        IppValue* const next = value->next;
        *value = source;
        value->next = next;
        ownTexts(*value, ippRowOfKind(value->kind)->layout, place);
        ++value;
    }
    return attribute;
}

}  // namespace velmora
