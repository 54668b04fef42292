#include "ipp/encoder.h"

#include <cstring>
#include <string_view>

#include "ipp/big_endian.h"

namespace velmora {
namespace {

constexpr std::size_t kLongestField = 0xFFFF;
/// The longest value of a kind without text (dateTime).
constexpr std::size_t kLongestFixedValue = 11;

/// A value's field apart from its octets.
struct Field {
    std::uint8_t tag;
    IppValueLayout layout;
    std::size_t size;
};

/// The length of the field, whatever its kind.
std::size_t fieldSize(const IppValue& value, IppValueLayout layout) noexcept {
    switch (layout) {
        case IppValueLayout::nothing:
            break;
        case IppValueLayout::number:
            return 4;
        case IppValueLayout::boolean:
            return 1;
        case IppValueLayout::range:
            return 8;
        case IppValueLayout::resolution:
            return 9;
        case IppValueLayout::dateTime:
            return 11;
        case IppValueLayout::languageText:
            return value.languageText.languageLength + std::strlen(value.languageText.text()) + 4;
        case IppValueLayout::text:
            return value.text.length;
        case IppValueLayout::raw:
            return value.raw.length;
    }
    return 0;
}

std::uint8_t* put16(std::uint8_t* out, std::size_t number) noexcept {
    storeBig16(out, static_cast<std::uint16_t>(number));
    return out + 2;
}

std::uint8_t* put32(std::uint8_t* out, std::uint32_t number) noexcept {
    storeBig32(out, number);
    return out + 4;
}

std::uint8_t* put(std::uint8_t* out, std::string_view text) noexcept {
    // An empty view may have no data, which memcpy must not be given.
    if (!text.empty()) std::memcpy(out, text.data(), text.size());
    return out + text.size();
}

std::string_view language(const IppValue& value) noexcept {
    return {value.languageText.language, value.languageText.languageLength};
}

/// The field of a kind without text; the position after it.
std::uint8_t* putFixed(std::uint8_t* out, const IppValue& value, IppValueLayout layout) noexcept {
    switch (layout) {
        case IppValueLayout::number:
            return put32(out, static_cast<std::uint32_t>(value.number));
        case IppValueLayout::boolean:
            *out = value.number != 0 ? 0x01 : 0x00;
            return out + 1;
        case IppValueLayout::range:
            out = put32(out, static_cast<std::uint32_t>(value.range.lower));
            return put32(out, static_cast<std::uint32_t>(value.range.upper));
        case IppValueLayout::resolution:
            out = put32(put32(out, value.resolution.crossFeed), value.resolution.feed);
            *out = value.resolution.units;
            return out + 1;
        case IppValueLayout::dateTime: {
            const IppDateTime& time = value.dateTime;
            out = put16(out, time.year);
            for (const std::uint8_t octet :
                 {time.month, time.day, time.hour, time.minutes, time.seconds, time.deciSeconds,
                  static_cast<std::uint8_t>(time.directionFromUtc), time.hoursFromUtc,
                  time.minutesFromUtc}) {
                *out++ = octet;
            }
            return out;
        }
        default:
            return out;
    }
}

/// Output to an area of the caller's.
class Area {
  public:
    explicit Area(std::span<std::uint8_t> area) noexcept
        : start_(area.data()), position_(start_), end_(start_ + area.size()) {}

    std::size_t size() const noexcept { return static_cast<std::size_t>(position_ - start_); }
    std::size_t room() const noexcept { return static_cast<std::size_t>(end_ - position_); }
    std::uint8_t* position() noexcept { return position_; }
    void advance(std::uint8_t* to) noexcept { position_ = to; }
    bool append(const void* bytes, std::size_t count) noexcept {
        if (count > room()) return false;
        position_ = put(position_, {static_cast<const char*>(bytes), count});
        return true;
    }

  private:
    std::uint8_t* const start_;
    std::uint8_t* position_;
    std::uint8_t* const end_;
};

/// Output that is only counted. It has no place to write to.
class Counter {
  public:
    std::size_t size() const noexcept { return size_; }
    bool append(const void*, std::size_t count) noexcept {
        size_ += count;
        return true;
    }

  private:
    std::size_t size_ = 0;
};

/// `Out` is IppBlockBuffer or something with the same way of appending.
template <class Out>
class Writer {
  public:
    explicit Writer(Out& out) noexcept : out_(out) {}

    bool message(const IppMessage& message, bool isResponse) noexcept;

  private:
    bool group(const IppMessage& message, IppGroup group) noexcept;
    bool attribute(const IppAttribute& attribute) noexcept;
    bool value(std::string_view name, const IppValue& value) noexcept;
    bool field(std::string_view name, const IppValue& value, const Field& field) noexcept;
    void fieldInPlace(std::string_view name, const IppValue& value, const Field& field) noexcept;
    bool fieldInPieces(std::string_view name, const IppValue& value, const Field& field) noexcept;

    bool big16(std::size_t number) noexcept {
        std::uint8_t bytes[2];
        storeBig16(bytes, static_cast<std::uint16_t>(number));
        return out_.append(bytes, sizeof bytes);
    }
    bool octet(std::uint8_t value) noexcept { return out_.append(&value, 1); }
    bool text(std::string_view text) noexcept { return out_.append(text.data(), text.size()); }

    Out& out_;
};

template <class Out>
bool Writer<Out>::field(std::string_view name, const IppValue& value, const Field& field) noexcept {
    if (field.size > kLongestField || name.size() > kLongestField) return false;
    if constexpr (requires(Out & out) { out.position(); }) {
        if (out_.room() >= 5 + name.size() + field.size) {
            fieldInPlace(name, value, field);
            return true;
        }
    }
    return fieldInPieces(name, value, field);
}

/// Where there is room for all of it, as nearly always.
template <class Out>
void Writer<Out>::fieldInPlace(std::string_view name, const IppValue& value,
                               const Field& field) noexcept {
    std::uint8_t* out = out_.position();
    *out++ = field.tag;
    out = put(put16(out, name.size()), name);
    out = put16(out, field.size);
    switch (field.layout) {
        case IppValueLayout::text:
            out = put(out, value.text.view());
            break;
        case IppValueLayout::raw:
            out = put(out, value.raw.view());
            break;
        case IppValueLayout::languageText:
            for (const std::string_view part :
                 {language(value), std::string_view(value.languageText.text())}) {
                out = put(put16(out, part.size()), part);
            }
            break;
        default:
            out = putFixed(out, value, field.layout);
            break;
    }
    out_.advance(out);
}

/// The same bytes across the end of the block.
template <class Out>
bool Writer<Out>::fieldInPieces(std::string_view name, const IppValue& value,
                                const Field& field) noexcept {
    if (!octet(field.tag) || !big16(name.size()) || !text(name) || !big16(field.size)) return false;
    switch (field.layout) {
        case IppValueLayout::text:
            return text(value.text.view());
        case IppValueLayout::raw:
            return text(value.raw.view());
        case IppValueLayout::languageText: {
            const std::string_view words = value.languageText.text();
            return big16(language(value).size()) && text(language(value)) && big16(words.size()) &&
                   text(words);
        }
        default: {
            std::uint8_t octets[kLongestFixedValue];
            const std::uint8_t* const end = putFixed(octets, value, field.layout);
            return out_.append(octets, static_cast<std::size_t>(end - octets));
        }
    }
}

template <class Out>
bool Writer<Out>::value(std::string_view name, const IppValue& value) noexcept {
    const IppKindRow* const row = ippRowOfKind(value.kind);
    if (row == nullptr) return false;
    const bool raw = row->layout == IppValueLayout::raw;
    return field(name, value,
                 {raw ? value.raw.tag : row->tag, row->layout, fieldSize(value, row->layout)});
}

template <class Out>
bool Writer<Out>::attribute(const IppAttribute& attribute) noexcept {
    const IppValue* next = attribute.firstValue();
    if (next == nullptr) return true;
    std::string_view name;  // empty from the second value on
    if (attribute.nameIndex == -1) {
        const IppKindRow* const row = ippRowOfKind(next->kind);
        if (row == nullptr || row->layout != IppValueLayout::text) return false;
        name = next->text.view();
        if (name.empty()) return false;
        if (next->next == nullptr) {
            // A name alone is sent as an unsupported attribute that carries its name as its value
            // too. Kept for compatibility with deployed printers.
            const std::uint8_t tag = ippRowOfKind(IppValueKind::unsupported)->tag;
            return name.size() <= kLongestField &&
                   fieldInPieces(name, *next, {tag, IppValueLayout::text, name.size()});
        }
        next = next->next;
    } else {
        const auto index = static_cast<std::size_t>(attribute.nameIndex);
        if (index >= IppAttributeNames::kCount) return false;
        name = IppAttributeNames::all()[index];
    }
    for (; next != nullptr; next = next->next) {
        if (!value(name, *next)) return false;
        name = {};
    }
    return true;
}

template <class Out>
bool Writer<Out>::group(const IppMessage& message, IppGroup group) noexcept {
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

template <class Out>
bool Writer<Out>::message(const IppMessage& message, bool isResponse) noexcept {
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

std::size_t encodedIppSize(const IppMessage& message, bool isResponse) noexcept {
    Counter counter;
    return Writer(counter).message(message, isResponse) ? counter.size() : 0;
}

std::size_t encodeIppMessage(const IppMessage& message, bool isResponse,
                             std::span<std::uint8_t> area) noexcept {
    Area out(area);
    return Writer(out).message(message, isResponse) ? out.size() : 0;
}

}  // namespace velmora
