#include <cstring>

#include "ipp/big_endian.h"
#include "ipp/reader.h"

// The value fields of each kind; their layout is documented with encodeIppMessage's counterpart in
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

/// The length of what a C string made of these octets holds. Asked of the octets as they came:
/// those that have just been copied would have to be waited for.
std::size_t lengthToNul(std::string_view octets) noexcept {
    const void* const nul =
        octets.empty() ? nullptr : std::memchr(octets.data(), '\0', octets.size());
    return nul == nullptr ? octets.size()
                          : static_cast<std::size_t>(static_cast<const char*>(nul) - octets.data());
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
            // Printing does not use such values; only tools, which ask for everything, read such
            // answers.
            if (!row_->readByDefault && !policy_.keepUnknownKinds) return kSyntaxError;
            break;
        default:
            if (static_cast<int>(length) != fixedLength(layout)) return kSyntaxError;
            break;
    }
    char* place = nullptr;
    IppValue* const value = newValue(0, place);
    if (value == nullptr) return kNotStored;
    value->kind = row_->kind;
    loadFixed(layout, bytes, *value);
    return kWantsMore;
}

int IppReader::storeText(IppValueKind kind, std::string_view text) noexcept {
    char* place = nullptr;
    IppValue* const value = newValue(text.size() + 1, place);
    if (value == nullptr) return kNotStored;
    value->kind = kind;
    value->text = {static_cast<std::uint32_t>(lengthToNul(text)),
                   copyTerminated(place, text.data(), text.size())};
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

    char* place = nullptr;
    IppValue* const value = newValue(languageLength + textLength + 2, place);
    if (value == nullptr) return kNotStored;
    value->kind = row_->kind;
    // Both end at their first NUL, and the text follows right after the language's.
    const std::size_t kept = lengthToNul({reinterpret_cast<const char*>(language), languageLength});
    value->languageText = {static_cast<std::uint32_t>(kept), copyTerminated(place, language, kept)};
    copyTerminated(place + kept + 1, text, textLength);
    return kWantsMore;
}

int IppReader::storeRaw(std::string_view octets) noexcept {
    char* place = nullptr;
    IppValue* const value = newValue(octets.size() + 1, place);
    if (value == nullptr) return kNotStored;
    value->kind = IppValueKind::rawOctets;
    value->raw = {static_cast<std::uint16_t>(octets.size()), valueTag_,
                  copyTerminated(place, octets.data(), octets.size())};
    return kWantsMore;
}

}  // namespace velmora
