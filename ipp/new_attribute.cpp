#include "ipp/new_attribute.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <new>

#include "ipp/tags.h"

namespace velmora {
namespace {

constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

// A block holds the attribute with its first value, then the other values as an array, then their
// texts; in a message's storage the texts lie apart. Values are filled where they lie: a value put
// together elsewhere and copied costs more than its allocation, since the processor must wait for
// the small stores before it can load them as a whole.

/// As the attribute keeps it. A number too large for that stays one that is no index, nor -1.
std::int16_t keptIndex(int nameIndex) noexcept {
    using Limits = std::numeric_limits<std::int16_t>;
    return static_cast<std::int16_t>(std::clamp<int>(nameIndex, Limits::min(), Limits::max()));
}

/// An attribute with `count` values, linked but not filled, and in `place` room for `texts` bytes.
UniqueIppAttribute newBlock(int nameIndex, std::size_t count, std::size_t texts,
                            IppStorage* storage, char*& place) noexcept {
    constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max() / 2;
    if (texts > kMost || count > (kMost - texts) / sizeof(IppValue)) return nullptr;
    const std::size_t further = count < 2 ? 0 : count - 1;
    const std::size_t size = sizeof(IppAttribute) + further * sizeof(IppValue);
    void* const memory = storage == nullptr ? ::operator new(size + texts, std::nothrow)
                                            : storage->allocate(size, kNoLimit);
    if (memory == nullptr) return nullptr;
    place = storage == nullptr ? static_cast<char*>(memory) + size
                               : storage->allocateOctets(texts, kNoLimit);
    if (place == nullptr) return nullptr;
    auto* const attribute = new (memory) IppAttribute{};
    attribute->nameIndex = keptIndex(nameIndex);
    attribute->ownsStorage = storage == nullptr;
    attribute->hasValues = count != 0;
    IppValue* last = &attribute->value;
    auto* const values = reinterpret_cast<IppValue*>(attribute + 1);
    for (std::size_t i = 0; i < further; ++i) {
        last->next = new (values + i) IppValue;
        last = last->next;
    }
    last->next = nullptr;
    return UniqueIppAttribute(attribute);
}

const char* copyText(char*& place, const char* text, std::size_t length) noexcept {
    char* const copy = place;
    if (length != 0) std::memcpy(copy, text, length);  // no octets may have no place
    copy[length] = '\0';
    place += length + 1;
    return copy;
}

UniqueIppAttribute newTexts(int nameIndex, IppValueKind kind, std::span<const char* const> texts,
                            IppStorage* storage) noexcept {
    const auto at = [texts](std::size_t i) noexcept { return texts[i] == nullptr ? "" : texts[i]; };
    // Most attributes have one value: its length is not measured twice.
    const std::size_t firstLength = texts.empty() ? 0 : std::strlen(at(0));
    std::size_t size = firstLength + 1;
    for (std::size_t i = 1; i < texts.size(); ++i)
        size += std::strlen(at(i)) + 1;
    char* place = nullptr;
    UniqueIppAttribute attribute = newBlock(nameIndex, texts.size(), size, storage, place);
    if (!attribute || texts.empty()) return attribute;
    IppValue* value = &attribute->value;
    for (std::size_t i = 0; i < texts.size(); ++i, value = value->next) {
        const std::size_t length = i == 0 ? firstLength : std::strlen(at(i));
        value->kind = kind;
        value->text.length = static_cast<std::uint32_t>(length);
        value->text.bytes = copyText(place, at(i), length);
    }
    return attribute;
}

/// `store(value, payload)` fills the value's payload.
template <class Payload, class Store>
UniqueIppAttribute newFixed(int nameIndex, IppValueKind kind, std::span<const Payload> payloads,
                            Store store, IppStorage* storage) noexcept {
    char* place = nullptr;
    UniqueIppAttribute attribute = newBlock(nameIndex, payloads.size(), 0, storage, place);
    if (!attribute) return nullptr;
    IppValue* value = &attribute->value;
    for (const Payload& payload : payloads) {
        value->kind = kind;
        store(*value, payload);
        value = value->next;
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
            return value.languageText.languageLength + std::strlen(value.languageText.text()) + 2;
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
            const IppLanguageText given = value.languageText;
            value.languageText.language = copyText(place, given.language, given.languageLength);
            copyText(place, given.text(), std::strlen(given.text()));
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
    if (attribute->ownsStorage) ::operator delete(attribute);
}

UniqueIppAttribute newIntegerAttribute(int nameIndex, std::span<const std::int32_t> values,
                                       IppStorage* storage) noexcept {
    return newFixed(nameIndex, IppValueKind::integer, values, storeNumber, storage);
}

UniqueIppAttribute newBooleanAttribute(int nameIndex, std::span<const bool> values,
                                       IppStorage* storage) noexcept {
    return newFixed(
        nameIndex, IppValueKind::boolean, values,
        [](IppValue& value, bool payload) noexcept { value.number = payload ? 1 : 0; }, storage);
}

UniqueIppAttribute newEnumAttribute(int nameIndex, std::span<const std::int32_t> values,
                                    IppStorage* storage) noexcept {
    return newFixed(nameIndex, IppValueKind::enumeration, values, storeNumber, storage);
}

UniqueIppAttribute newResolutionAttribute(int nameIndex, std::span<const IppResolution> values,
                                          IppStorage* storage) noexcept {
    return newFixed(
        nameIndex, IppValueKind::resolution, values,
        [](IppValue& value, const IppResolution& payload) noexcept {
            value.resolution.crossFeed = payload.crossFeed;
            value.resolution.feed = payload.feed;
            value.resolution.units = payload.units;
        },
        storage);
}

UniqueIppAttribute newRangeAttribute(int nameIndex, std::span<const IppRange> values,
                                     IppStorage* storage) noexcept {
    return newFixed(
        nameIndex, IppValueKind::rangeOfInteger, values,
        [](IppValue& value, const IppRange& payload) noexcept {
            value.range.lower = payload.lower;
            value.range.upper = payload.upper;
        },
        storage);
}

UniqueIppAttribute newNameAttribute(int nameIndex, std::span<const char* const> values,
                                    IppStorage* storage) noexcept {
    return newTexts(nameIndex, IppValueKind::nameWithoutLanguage, values, storage);
}

UniqueIppAttribute newKeywordAttribute(int nameIndex, std::span<const char* const> values,
                                       IppStorage* storage) noexcept {
    return newTexts(nameIndex, IppValueKind::keyword, values, storage);
}

UniqueIppAttribute newUriAttribute(int nameIndex, std::span<const char* const> values,
                                   IppStorage* storage) noexcept {
    return newTexts(nameIndex, IppValueKind::uri, values, storage);
}

UniqueIppAttribute newCharsetAttribute(int nameIndex, std::span<const char* const> values,
                                       IppStorage* storage) noexcept {
    return newTexts(nameIndex, IppValueKind::charset, values, storage);
}

UniqueIppAttribute newNaturalLanguageAttribute(int nameIndex, std::span<const char* const> values,
                                               IppStorage* storage) noexcept {
    return newTexts(nameIndex, IppValueKind::naturalLanguage, values, storage);
}

UniqueIppAttribute newIppAttribute(int nameIndex, std::span<const IppValue> values,
                                   IppStorage* storage) noexcept {
    std::size_t texts = 0;
    for (const IppValue& value : values) {
        const IppKindRow* const row = ippRowOfKind(value.kind);
        if (row == nullptr) return nullptr;
        texts += textSize(value, row->layout);
    }
    char* place = nullptr;
    UniqueIppAttribute attribute = newBlock(nameIndex, values.size(), texts, storage, place);
    if (!attribute || values.empty()) return attribute;
    IppValue* value = &attribute->value;
    for (const IppValue& source : values) {
        IppValue* const next = value->next;
        *value = source;
        value->next = next;
        ownTexts(*value, ippRowOfKind(value->kind)->layout, place);
        value = next;
    }
    return attribute;
}

}  // namespace velmora
