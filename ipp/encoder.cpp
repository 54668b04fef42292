#include "ipp/encoder.h"

#include <cstring>
#include <string_view>

#include "ipp/big_endian.h"

namespace velmora {
namespace {

constexpr std::size_t kLongestField = 0xFFFF;
/// The longest value of a kind without text (dateTime).
constexpr std::size_t kLongestFixedValue = 11;

/// One value as it goes out: its tag, the fixed octets of its field, then up to two texts, each
/// after its own length when there are two.
struct Field {
    std::uint8_t tag = 0;
    std::uint8_t fixedSize = 0;
    bool lengthBeforeEachText = false;
    std::uint8_t fixed[kLongestFixedValue];
    std::string_view language = "";
    std::string_view text = "";

    std::size_t size() const noexcept {
        return fixedSize + language.size() + text.size() + (lengthBeforeEachText ? 4 : 0);
    }
};

std::size_t putFixed(const IppValue& value, IppValueLayout layout, std::uint8_t* out) noexcept {
    switch (layout) {
        case IppValueLayout::number:
            storeBig32(out, static_cast<std::uint32_t>(value.number));
            return 4;
        case IppValueLayout::boolean:
            out[0] = value.number != 0 ? 0x01 : 0x00;
            return 1;
        case IppValueLayout::range:
            storeBig32(out, static_cast<std::uint32_t>(value.range.lower));
            storeBig32(out + 4, static_cast<std::uint32_t>(value.range.upper));
            return 8;
        case IppValueLayout::resolution:
            storeBig32(out, value.resolution.crossFeed);
            storeBig32(out + 4, value.resolution.feed);
            out[8] = value.resolution.units;
            return 9;
        case IppValueLayout::dateTime: {
            const IppDateTime& time = value.dateTime;
            storeBig16(out, time.year);
            const std::uint8_t rest[] = {time.month,
                                         time.day,
                                         time.hour,
                                         time.minutes,
                                         time.seconds,
                                         time.deciSeconds,
                                         static_cast<std::uint8_t>(time.directionFromUtc),
                                         time.hoursFromUtc,
                                         time.minutesFromUtc};
            std::memcpy(out + 2, rest, sizeof rest);
            return 2 + sizeof rest;
        }
        default:
            return 0;
    }
}

/// False for a value of no kind.
bool describe(const IppValue& value, Field& field) noexcept {
    const IppKindRow* const row = ippRowOfKind(value.kind);
    if (row == nullptr) return false;
    field.tag = row->tag;
    switch (row->layout) {
        case IppValueLayout::text:
            field.text = value.text.view();
            break;
        case IppValueLayout::raw:
            field.tag = value.raw.tag;
            field.text = {value.raw.bytes, value.raw.length};
            break;
        case IppValueLayout::languageText:
            field.language = value.languageText.language;
            field.text = value.languageText.text;
            field.lengthBeforeEachText = true;
            break;
        default:
            field.fixedSize = static_cast<std::uint8_t>(putFixed(value, row->layout, field.fixed));
            break;
    }
    return true;
}

class Writer {
  public:
    explicit Writer(IppBlockBuffer& out) noexcept : out_(out) {}

    bool message(const IppMessage& message, bool isResponse) noexcept;

  private:
    bool group(const IppMessage& message, IppGroup group) noexcept;
    bool attribute(const IppAttribute& attribute) noexcept;
    bool value(std::string_view name, const Field& field) noexcept;
    bool valueInPieces(std::string_view name, const Field& field) noexcept;

    bool big16(std::size_t number) noexcept {
        std::uint8_t bytes[2];
        storeBig16(bytes, static_cast<std::uint16_t>(number));
        return out_.append(bytes, sizeof bytes);
    }
    bool octet(std::uint8_t value) noexcept { return out_.append(&value, 1); }
    bool text(std::string_view text) noexcept { return out_.append(text.data(), text.size()); }

    IppBlockBuffer& out_;
};

std::uint8_t* put(std::uint8_t* out, std::string_view text) noexcept {
    std::memcpy(out, text.data(), text.size());
    return out + text.size();
}

std::uint8_t* put16(std::uint8_t* out, std::size_t number) noexcept {
    storeBig16(out, static_cast<std::uint16_t>(number));
    return out + 2;
}

bool Writer::value(std::string_view name, const Field& field) noexcept {
    const std::size_t size = field.size();
    if (size > kLongestField || name.size() > kLongestField) return false;
    // The usual case in place; `fixed` is copied whole, being short and of a known size.
    if (out_.room() < 5 + name.size() + size + kLongestFixedValue) {
        return valueInPieces(name, field);
    }
    std::uint8_t* out = out_.position();
    *out++ = field.tag;
    out = put(put16(out, name.size()), name);
    out = put16(out, size);
    if (field.fixedSize != 0) {
        std::memcpy(out, field.fixed, kLongestFixedValue);
        out += field.fixedSize;
    } else if (field.lengthBeforeEachText) {
        out = put(put16(out, field.language.size()), field.language);
        out = put(put16(out, field.text.size()), field.text);
    } else {
        out = put(out, field.text);
    }
    out_.advance(out);
    return true;
}

bool Writer::valueInPieces(std::string_view name, const Field& field) noexcept {
    if (!octet(field.tag) || !big16(name.size()) || !text(name) || !big16(field.size())) {
        return false;
    }
    if (!field.lengthBeforeEachText) {
        return out_.append(field.fixed, field.fixedSize) && text(field.text);
    }
    return big16(field.language.size()) && text(field.language) && big16(field.text.size()) &&
           text(field.text);
}

bool Writer::attribute(const IppAttribute& attribute) noexcept {
    const IppValue* next = attribute.firstValue;
    if (next == nullptr) return true;
    Field field;
    std::string_view name = "";
    if (attribute.nameIndex == -1) {
        if (!describe(*next, field) || field.fixedSize != 0 || field.text.empty()) return false;
        name = field.text;
        if (next->next == nullptr) {
            // A name alone is sent as an unsupported attribute that carries its name as value
            // too. Printers have always been sent it so.
            field.tag = ippRowOfKind(IppValueKind::unsupported)->tag;
            return value(name, field);
        }
        next = next->next;
    } else {
        if (attribute.nameIndex < 0 ||
            static_cast<std::size_t>(attribute.nameIndex) >= IppAttributeNames::kCount) {
            return false;
        }
        name = IppAttributeNames::all()[static_cast<std::size_t>(attribute.nameIndex)];
    }
    for (; next != nullptr; next = next->next) {
        Field current;
        if (!describe(*next, current) || !value(name, current)) return false;
        name = "";
    }
    return true;
}

bool Writer::group(const IppMessage& message, IppGroup group) noexcept {
    const IppAttribute* previous = nullptr;
    for (const IppAttribute* next = message.group(group).head; next != nullptr;
         previous = next, next = next->next) {
        if (previous == nullptr || previous->groupInstance != next->groupInstance) {
            if (!octet(ippDelimiterTag(group))) return false;
        }
        if (!attribute(*next)) return false;
    }
    return true;
}

bool Writer::message(const IppMessage& message, bool isResponse) noexcept {
    std::uint32_t code = message.operationOrStatus;
    if (!isResponse) {
        if (code >= ippOperations().size()) return false;
        code = ippOperations()[code].written;
    }
    if (!octet(message.version.majorNumber) || !octet(message.version.minorNumber) ||
        !big16(code & 0xFFFF) || !out_.append(&message.requestId, sizeof message.requestId)) {
        return false;
    }
    // Not the order of the indexes: what a printer finds unsupported comes right after the
    // operation group, as RFC 2911 lists the groups of a response.
    for (const IppGroup each :
         {IppGroup::operation, IppGroup::unsupported, IppGroup::printer, IppGroup::job}) {
        if (!group(message, each)) return false;
    }
    return octet(kIppEndOfAttributesTag);
}

}  // namespace

int encodeIppMessage(const IppMessage& message, bool isResponse,
                     UniqueIppBlockBuffer& buffer) noexcept {
    buffer = newIppBlockBuffer();
    if (buffer && Writer(*buffer).message(message, isResponse)) return 0;
    buffer.reset();
    return -1;
}

}  // namespace velmora
