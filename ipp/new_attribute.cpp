#include "ipp/new_attribute.h"

#include <cstddef>
#include <cstring>
#include <limits>
#include <new>

#include "ipp/tags.h"

namespace velmora {
namespace {

// A block holds the attribute, then its values as an array, then their texts.

/// A value whose texts are borrowed, with the layout of its kind.
struct Source {
    IppValue value{};
    IppValueLayout layout;
};

Source textSource(IppValueKind kind, const char* text) noexcept {
    Source source{.layout = IppValueLayout::text};
    if (text == nullptr) text = "";
    source.value.kind = kind;
    source.value.text = {text, static_cast<std::uint32_t>(std::strlen(text))};
    return source;
}

Source numberSource(IppValueKind kind, IppValueLayout layout, std::int32_t number) noexcept {
    Source source{.layout = layout};
    source.value.kind = kind;
    source.value.number = number;
    return source;
}

/// What the value's texts need in the block, terminators included.
std::size_t textSize(const Source& source) noexcept {
    const IppValue& value = source.value;
    switch (source.layout) {
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

const char* copyText(char*& place, const char* text, std::size_t length) noexcept {
    char* const copy = place;
    std::memcpy(copy, text, length);
    copy[length] = '\0';
    place += length + 1;
    return copy;
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

/// `sourceAt(i)` gives value i; it is called up to twice for each i.
template <class SourceAt>
UniqueIppAttribute build(int nameIndex, std::size_t count, const SourceAt& sourceAt) noexcept {
    Source first{};
    std::size_t texts = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const Source source = sourceAt(i);
        if (i == 0) first = source;
        texts += textSize(source);
    }
    if (count > (std::numeric_limits<std::size_t>::max() / 2 - texts) / sizeof(IppValue)) {
        return nullptr;
    }
    const std::size_t size = sizeof(IppAttribute) + count * sizeof(IppValue) + texts;
    void* const block = ::operator new(size, std::nothrow);
    if (block == nullptr) return nullptr;

    auto* const attribute = new (block) IppAttribute{};
    auto* const values = reinterpret_cast<IppValue*>(attribute + 1);
    auto* text = reinterpret_cast<char*>(values + count);
    attribute->nameIndex = nameIndex;
    attribute->ownsStorage = true;
    attribute->firstValue = count == 0 ? nullptr : values;
    for (std::size_t i = 0; i < count; ++i) {
        const Source source = i == 0 ? first : sourceAt(i);
        auto* const value = new (values + i) IppValue(source.value);
        value->next = i + 1 == count ? nullptr : values + i + 1;
        ownTexts(*value, source.layout, text);
    }
    return UniqueIppAttribute(attribute);
}

UniqueIppAttribute buildTexts(int nameIndex, IppValueKind kind,
                              std::span<const char* const> texts) noexcept {
    return build(nameIndex, texts.size(),
                 [=](std::size_t i) noexcept { return textSource(kind, texts[i]); });
}

UniqueIppAttribute buildNumbers(int nameIndex, IppValueKind kind,
                                std::span<const std::int32_t> numbers) noexcept {
    return build(nameIndex, numbers.size(), [=](std::size_t i) noexcept {
        return numberSource(kind, IppValueLayout::number, numbers[i]);
    });
}

}  // namespace

void IppAttributeDeleter::operator()(IppAttribute* attribute) const noexcept {
    ::operator delete(attribute);
}

UniqueIppAttribute newIntegerAttribute(int nameIndex,
                                       std::span<const std::int32_t> values) noexcept {
    return buildNumbers(nameIndex, IppValueKind::integer, values);
}

UniqueIppAttribute newBooleanAttribute(int nameIndex, std::span<const bool> values) noexcept {
    return build(nameIndex, values.size(), [=](std::size_t i) noexcept {
        return numberSource(IppValueKind::boolean, IppValueLayout::boolean, values[i] ? 1 : 0);
    });
}

UniqueIppAttribute newEnumAttribute(int nameIndex, std::span<const std::int32_t> values) noexcept {
    return buildNumbers(nameIndex, IppValueKind::enumeration, values);
}

UniqueIppAttribute newResolutionAttribute(int nameIndex,
                                          std::span<const IppResolution> values) noexcept {
    return build(nameIndex, values.size(), [=](std::size_t i) noexcept {
        Source source{.layout = IppValueLayout::resolution};
        source.value.kind = IppValueKind::resolution;
        source.value.resolution = values[i];
        return source;
    });
}

UniqueIppAttribute newRangeAttribute(int nameIndex, std::span<const IppRange> values) noexcept {
    return build(nameIndex, values.size(), [=](std::size_t i) noexcept {
        Source source{.layout = IppValueLayout::range};
        source.value.kind = IppValueKind::rangeOfInteger;
        source.value.range = values[i];
        return source;
    });
}

UniqueIppAttribute newNameAttribute(int nameIndex, std::span<const char* const> values) noexcept {
    return buildTexts(nameIndex, IppValueKind::nameWithoutLanguage, values);
}

UniqueIppAttribute newKeywordAttribute(int nameIndex,
                                       std::span<const char* const> values) noexcept {
    return buildTexts(nameIndex, IppValueKind::keyword, values);
}

UniqueIppAttribute newUriAttribute(int nameIndex, std::span<const char* const> values) noexcept {
    return buildTexts(nameIndex, IppValueKind::uri, values);
}

UniqueIppAttribute newCharsetAttribute(int nameIndex,
                                       std::span<const char* const> values) noexcept {
    return buildTexts(nameIndex, IppValueKind::charset, values);
}

UniqueIppAttribute newNaturalLanguageAttribute(int nameIndex,
                                               std::span<const char* const> values) noexcept {
    return buildTexts(nameIndex, IppValueKind::naturalLanguage, values);
}

UniqueIppAttribute newIppAttribute(int nameIndex, std::span<const IppValue> values) noexcept {
    for (const IppValue& value : values) {
        if (ippRowOfKind(value.kind) == nullptr) return nullptr;
    }
    return build(nameIndex, values.size(), [=](std::size_t i) noexcept {
        return Source{.value = values[i], .layout = ippRowOfKind(values[i].kind)->layout};
    });
}

}  // namespace velmora
