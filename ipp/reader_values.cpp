#include <cstring>

#include "ipp/big_endian.h"
#include "ipp/reader.h"

// The value fields of each kind; their layout stands beside encodeIppMessage's counterpart in
// encoder.cpp.

namespace velmora {
namespace {

/// The field's length for the kinds that have one length only; -1 for the others.
constexpr int fixedLength(IppValueLayout layout) noexcept {
    switch (layout) {
        case IppValueLayout::number:
            return 4;
        case IppValueLayout::boolean:
            return 1;
        case IppValueLayout::dateTime:
            return 11;
        case IppValueLayout::resolution:
            return 9;
        case IppValueLayout::range:
            return 8;
        default:
            return -1;
    }
}

void loadFixed(IppValueLayout layout, const std::uint8_t* in, IppValue& value) noexcept {
    switch (layout) {
        case IppValueLayout::number:
            value.number = static_cast<std::int32_t>(loadBig32(in));
            break;
        case IppValueLayout::boolean:
            value.number = in[0] < 0x80 ? in[0] : in[0] - 0x100;  // sign-extended
            break;
        case IppValueLayout::range:
            value.range = {static_cast<std::int32_t>(loadBig32(in)),
                           static_cast<std::int32_t>(loadBig32(in + 4))};
            break;
        case IppValueLayout::resolution:
            value.resolution = {loadBig32(in), loadBig32(in + 4), in[8]};
            break;
        case IppValueLayout::dateTime:
            value.dateTime = {loadBig16(in), in[2], in[3], in[4],
                              in[5],         in[6], in[7], static_cast<char>(in[8]),
                              in[9],         in[10]};
            break;
        default:
            break;
    }
}

char* copyTerminated(char* place, const void* bytes, std::size_t length) noexcept {
    std::memcpy(place, bytes, length);
    place[length] = '\0';
    return place;
}

}  // namespace

int IppReader::storeValue(const std::uint8_t* bytes, std::size_t length) noexcept {
    const IppValueLayout layout = row_->layout;
    const std::string_view octets(reinterpret_cast<const char*>(bytes), length);
    switch (layout) {
        case IppValueLayout::text:
            return storeText(row_->kind, octets);
        case IppValueLayout::languageText:
            return storeLanguageText(bytes, length);
        case IppValueLayout::raw:
            return storeRaw(octets);
        case IppValueLayout::nothing:
            // A printer that answers "unknown" or "no-value" was asked for what it does not
            // have, which this program never does; only tools look at such answers.
            if (!row_->readByDefault && !policy_.keepUnknownKinds) return kSyntaxError;
            break;
        default:
            if (static_cast<int>(length) != fixedLength(layout)) return kSyntaxError;
            break;
    }
    IppValue* const value = newValue(0);
    if (value == nullptr) return kNotStored;
    value->kind = row_->kind;
    loadFixed(layout, bytes, *value);
    return kWantsMore;
}

int IppReader::storeText(IppValueKind kind, std::string_view text) noexcept {
    IppValue* const value = newValue(text.size() + 1);
    if (value == nullptr) return kNotStored;
    const char* const copy =
        copyTerminated(reinterpret_cast<char*>(value + 1), text.data(), text.size());
    value->kind = kind;
    value->text = {copy, static_cast<std::uint32_t>(std::strlen(copy))};
    return kWantsMore;
}

int IppReader::storeLanguageText(const std::uint8_t* bytes, std::size_t length) noexcept {
    if (length < 4) return kSyntaxError;
    const std::size_t languageLength = loadBig16(bytes);
    if (languageLength > length - 4) return kSyntaxError;
    const std::uint8_t* const language = bytes + 2;
    const std::size_t textLength = loadBig16(language + languageLength);
    if (textLength > length - 4 - languageLength) return kSyntaxError;
    const std::uint8_t* const text = language + languageLength + 2;

    IppValue* const value = newValue(languageLength + textLength + 2);
    if (value == nullptr) return kNotStored;
    char* const place = reinterpret_cast<char*>(value + 1);
    value->kind = row_->kind;
    value->languageText.language = copyTerminated(place, language, languageLength);
    value->languageText.text = copyTerminated(place + languageLength + 1, text, textLength);
    return kWantsMore;
}

int IppReader::storeRaw(std::string_view octets) noexcept {
    IppValue* const value = newValue(octets.size() + 1);
    if (value == nullptr) return kNotStored;
    const char* const copy =
        copyTerminated(reinterpret_cast<char*>(value + 1), octets.data(), octets.size());
    value->kind = IppValueKind::rawOctets;
    value->raw = {copy, static_cast<std::uint32_t>(octets.size()), valueTag_};
    return kWantsMore;
}

}  // namespace velmora
