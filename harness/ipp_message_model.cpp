#include "harness/ipp_message_model.h"

#include <string_view>

namespace velmora::testing {
namespace {

constexpr std::array<std::string_view, 129> kNames = {
    "attributes-charset",
    "attributes-natural-language",
    "document-uri",
    "last-document",
    "printer-uri",
    "requesting-user-name",
    "status-message",
    "detailed-status-message",
    "document-access-error",
    "compression",
    "document-format",
    "document-name",
    "document-natural-language",
    "ipp-attribute-fidelity",
    "limit",
    "message",
    "my-jobs",
    "requested-attributes",
    "which-jobs",
    "job-priority",
    "job-hold-until",
    "job-sheets",
    "multiple-document-handling",
    "copies",
    "finishings",
    "page-ranges",
    "sides",
    "number-up",
    "orientation-requested",
    "media",
    "printer-resolution",
    "print-quality",
    "job-priority-default",
    "job-hold-until-default",
    "job-sheets-default",
    "multiple-document-handling-default",
    "copies-default",
    "finishings-default",
    "sides-default",
    "number-up-default",
    "orientation-requested-default",
    "media-default",
    "printer-resolution-default",
    "print-quality-default",
    "job-priority-supported",
    "job-hold-until-supported",
    "job-sheets-supported",
    "multiple-document-handling-supported",
    "copies-supported",
    "finishings-supported",
    "page-ranges-supported",
    "sides-supported",
    "number-up-supported",
    "orientation-requested-supported",
    "media-supported",
    "printer-resolution-supported",
    "print-quality-supported",
    "job-uri",
    "job-id",
    "job-printer-uri",
    "job-more-info",
    "job-name",
    "job-originating-user-name",
    "job-state",
    "job-state-reasons",
    "job-state-message",
    "job-detailed-status-messages",
    "job-document-access-errors",
    "number-of-documents",
    "output-device-assigned",
    "time-at-creation",
    "time-at-processing",
    "time-at-completed",
    "job-printer-up-time",
    "date-time-at-creation",
    "date-time-at-processing",
    "date-time-at-completed",
    "number-of-intervening-jobs",
    "job-message-from-operator",
    "job-k-octets",
    "job-impressions",
    "job-media-sheets",
    "job-k-octets-processed",
    "job-impressions-completed",
    "job-media-sheets-completed",
    "printer-uri-supported",
    "uri-security-supported",
    "uri-authentication-supported",
    "printer-name",
    "printer-location",
    "printer-info",
    "printer-more-info",
    "printer-driver-installer",
    "printer-make-and-model",
    "printer-more-info-manufacturer",
    "printer-state",
    "printer-state-reasons",
    "printer-state-message",
    "ipp-versions-supported",
    "operations-supported",
    "multiple-document-jobs-supported",
    "charset-configured",
    "charset-supported",
    "natural-language-configured",
    "generated-natural-language-supported",
    "document-format-default",
    "document-format-supported",
    "printer-is-accepting-jobs",
    "queued-job-count",
    "printer-message-from-operator",
    "color-supported",
    "reference-uri-schemes-supported",
    "pdl-override-supported",
    "printer-up-time",
    "printer-current-time",
    "multiple-operation-time-out",
    "compression-supported",
    "job-k-octets-supported",
    "job-impressions-supported",
    "job-media-sheets-supported",
    "pages-per-minute",
    "pages-per-minute-color",
    "printer-verify-password",
    "printer-admin-password",
    "printer-home-page-url",
    "printer-help-page-url",
    "printer-redips-url",
    "printer-default-printer-name",
    "printer-fileserver-url",
};

int indexOfName(std::string_view name) {
    for (std::size_t i = 0; i < kNames.size(); ++i)
        if (kNames[i] == name) return static_cast<int>(i);
    return -1;
}

/// What the fields of a kind look like.
enum class Shape { none, integer, boolean, dateTime, resolution, range, twoTexts, text };

struct Kind {
    std::uint32_t code;
    std::uint8_t tag;
    Shape shape;
};

constexpr Kind kKinds[] = {
    {0, 0x10, Shape::none},          // unsupported
    {1, 0x12, Shape::none},          // unknown
    {2, 0x13, Shape::none},          // no-value
    {4, 0x21, Shape::integer},       // integer
    {8, 0x22, Shape::boolean},       // boolean
    {16, 0x23, Shape::integer},      // enum
    {32, 0x30, Shape::text},         // octetString
    {64, 0x31, Shape::dateTime},     // dateTime
    {128, 0x32, Shape::resolution},  // resolution
    {256, 0x33, Shape::range},       // rangeOfInteger
    {512, 0x35, Shape::twoTexts},    // textWithLanguage
    {1024, 0x36, Shape::twoTexts},   // nameWithLanguage
    {2048, 0x41, Shape::text},       // textWithoutLanguage
    {4096, 0x42, Shape::text},       // nameWithoutLanguage
    {8192, 0x44, Shape::text},       // keyword
    {16384, 0x45, Shape::text},      // uri
    {32768, 0x46, Shape::text},      // uriScheme
    {65536, 0x47, Shape::text},      // charset
    {131072, 0x48, Shape::text},     // naturalLanguage
    {262144, 0x49, Shape::text},     // mimeMediaType
};
constexpr std::uint32_t kKeyword = 8192;

const Kind* kindOfTag(std::uint8_t tag) {
    for (const Kind& kind : kKinds)
        if (kind.tag == tag) return &kind;
    return nullptr;
}

const Kind* kindOfCode(std::uint32_t code) {
    for (const Kind& kind : kKinds)
        if (kind.code == code) return &kind;
    return nullptr;
}

/// The operation of each code: as it is written, as it is read.
constexpr std::array<std::uint16_t, 2> kOperations[] = {
    {0x0002, 0x0002},  // Print-Job
    {0x0003, 0x0003},  // Print-URI
    {0x0004, 0x0004},  // Validate-Job
    {0x0005, 0x0005},  // Create-Job
    {0x000B, 0x000B},  // Get-Printer-Attributes
    {0x000A, 0x000A},  // Get-Jobs
    {0x0010, 0x0010},  // Pause-Printer
    {0x0011, 0x0011},  // Resume-Printer
    {0x0012, 0x0012},  // Purge-Jobs
    {0x0006, 0x0006},  // Send-Document
    {0x0007, 0x0007},  // Send-URI
    {0x0008, 0x0008},  // Cancel-Job
    {0x0009, 0x0009},  // Get-Job-Attributes
    {0x000C, 0x000C},  // Hold-Job
    {0x000D, 0x000D},  // Release-Job
    {0x000E, 0x000E},  // Restart-Job
    {0x1040, 0x4010},  // the vendor's own: written and read with different codes
};

/// The part of some octets that a NUL-terminated text keeps.
std::string upToNul(const std::string& octets) {
    return octets.substr(0, octets.find('\0'));
}

// The fields of the reader, in the order of the wire.
enum State {
    kVersion,
    kStatusCode,
    kOperationId,
    kRequestId,
    kDelimiter,
    kValueTag,
    kNameLength,
    kName,
    kValueLength,
    kValue,
    kEndTag,
};

}  // namespace

void ModelReader::take(std::uint8_t byte) {
    if (result != 0) return;
    if (taken_) choose(byte);
    while (needed_ == 0) {
        handle();
        if (result != 0) return;
        choose(byte);
    }
    field_.push_back(byte);
    if (field_.size() == needed_) handle();
}

void ModelReader::expect(int state, std::size_t bytes) {
    state_ = state;
    needed_ = bytes;
    taken_ = false;
    field_.clear();
}

void ModelReader::choose(std::uint8_t next) {
    switch (state_) {
        case kVersion:
            return expect(isResponse_ ? kStatusCode : kOperationId, 2);
        case kStatusCode:
        case kOperationId:
            return expect(kRequestId, 4);
        case kRequestId:
            return expect(next == 0x03 ? kEndTag : kDelimiter, 1);
        case kDelimiter:
        case kValue:
            if (next == 0x03) return expect(kEndTag, 1);
            return expect(next > 0x0F ? kValueTag : kDelimiter, 1);
        case kValueTag:
            return expect(kNameLength, 2);
        case kNameLength:
            if (nameLength_ != 0) return expect(kName, nameLength_);
            return expect(kValueLength, 2);
        case kName:
            return expect(kValueLength, 2);
        case kValueLength:
            return expect(kValue, valueLength_);
        default:
            return;
    }
}

void ModelReader::handle() {
    taken_ = true;
    switch (state_) {
        case kVersion:
            message.version = {field_[0], field_[1]};
            break;
        case kStatusCode:
            message.code = number(0, 2);
            break;
        case kOperationId:
            message.code = 0xFFFFFFFF;
            for (std::uint32_t code = 0; code < std::size(kOperations); ++code)
                if (kOperations[code][1] == number(0, 2)) message.code = code;
            break;
        case kRequestId:
            message.requestId = {field_[0], field_[1], field_[2], field_[3]};
            break;
        case kDelimiter:
            handleDelimiter(field_[0]);
            break;
        case kValueTag:
            handleValueTag(field_[0]);
            break;
        case kNameLength:
            nameLength_ = number(0, 2);
            if (nameLength_ > 1023) result = -1;
            // An additional value needs an attribute to be added to.
            if (nameLength_ == 0 && !hasAttribute_) result = -1;
            break;
        case kName:
            handleName();
            break;
        case kValueLength:
            valueLength_ = number(0, 2);
            if (valueLength_ > 1023) result = -1;
            break;
        case kValue:
            handleValue();
            break;
        case kEndTag:
            result = 1;
            break;
        default:
            break;
    }
}

void ModelReader::handleDelimiter(std::uint8_t tag) {
    switch (tag) {
        case 0x01:
            group_ = 0;
            break;
        case 0x02:
            group_ = 1;
            break;
        case 0x04:
            group_ = 2;
            break;
        case 0x05:
            group_ = 3;
            break;
        default:
            result = -1;
            return;
    }
    ++instances_[group_];
    hasAttribute_ = false;
}

void ModelReader::handleValueTag(std::uint8_t tag) {
    const Kind* const kind = kindOfTag(tag);
    value_ = {};
    if (kind != nullptr) {
        value_.kind = kind->code;
    } else if (isLenient_) {
        value_.kind = kModelRawKind;
        value_.tag = tag;
    } else {
        result = -1;
    }
}

void ModelReader::handleName() {
    const std::string name(field_.begin(), field_.end());
    const int index = indexOfName(name);
    if (index == -1 && name.find('\0') != std::string::npos) {
        result = -1;
        return;
    }
    ModelAttribute attribute{index, instances_[group_], {}};
    if (index == -1) {
        attribute.values.emplace_back();
        attribute.values.back().kind = kKeyword;
        attribute.values.back().first = name;
    }
    message.groups[group_].push_back(attribute);
    hasAttribute_ = true;
}

std::uint32_t ModelReader::number(std::size_t at, std::size_t bytes) const {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < bytes; ++i)
        number = number * 256 + field_[at + i];
    return number;
}

/// The text after its 16-bit length; empty if the field is too short for it.
std::optional<std::string> ModelReader::textAt(std::size_t& at) const {
    if (at + 2 > field_.size()) return {};
    const std::size_t length = number(at, 2);
    at += 2;
    std::string text;
    for (std::size_t i = 0; i < length; ++i) {
        if (at == field_.size()) return {};
        text += static_cast<char>(field_[at++]);
    }
    return upToNul(text);
}

void ModelReader::handleValue() {
    const auto signedNumber = [&](std::size_t at) {
        return static_cast<std::int64_t>(static_cast<std::int32_t>(number(at, 4)));
    };
    ModelValue value = value_;
    const std::string octets(field_.begin(), field_.end());
    // One length for each kind that has one length only.
    const auto needs = [&](std::size_t length) {
        if (field_.size() != length) result = -1;
        return field_.size() == length;
    };
    if (value.kind == kModelRawKind) {
        value.first = octets;
    } else {
        switch (kindOfCode(value.kind)->shape) {
            case Shape::none:
                // Only the tools' policy reads "unknown" and "no-value".
                if (value.kind != 0 && !isLenient_) result = -1;
                break;
            case Shape::integer:
                if (needs(4)) value.numbers[0] = signedNumber(0);
                break;
            case Shape::boolean:
                if (needs(1)) value.numbers[0] = static_cast<std::int8_t>(field_[0]);
                break;
            case Shape::range:
                if (needs(8)) {
                    value.numbers[0] = signedNumber(0);
                    value.numbers[1] = signedNumber(4);
                }
                break;
            case Shape::resolution:
                if (needs(9)) {
                    value.numbers[0] = number(0, 4);
                    value.numbers[1] = number(4, 4);
                    value.numbers[2] = field_[8];
                }
                break;
            case Shape::dateTime:
                if (needs(11)) {
                    value.numbers[0] = number(0, 2);
                    for (std::size_t i = 1; i < 10; ++i)
                        value.numbers[i] = field_[i + 1];
                }
                break;
            case Shape::twoTexts: {
                std::size_t at = 0;
                const std::optional<std::string> language = textAt(at);
                const std::optional<std::string> text =
                    language ? textAt(at) : std::optional<std::string>();
                if (text) {
                    value.first = *language;
                    value.second = *text;
                } else {
                    result = -1;
                }
                break;
            }
            case Shape::text:
                value.first = upToNul(octets);
                break;
        }
    }
    if (result == 0) message.groups[group_].back().values.push_back(value);
}

namespace {

using Octets = std::vector<std::uint8_t>;

/// Big-endian.
void put(Octets& out, std::int64_t number, int bytes) {
    for (int i = bytes - 1; i >= 0; --i)
        out.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
}

void put(Octets& out, const std::string& text) {
    for (const char c : text)
        out.push_back(static_cast<std::uint8_t>(c));
}

Octets valueField(const ModelValue& value) {
    Octets field;
    if (value.kind == kModelRawKind) {
        put(field, value.first);
        return field;
    }
    switch (kindOfCode(value.kind)->shape) {
        case Shape::none:
            break;
        case Shape::integer:
            put(field, value.numbers[0], 4);
            break;
        case Shape::boolean:
            put(field, value.numbers[0] != 0 ? 1 : 0, 1);
            break;
        case Shape::range:
            put(field, value.numbers[0], 4);
            put(field, value.numbers[1], 4);
            break;
        case Shape::resolution:
            put(field, value.numbers[0], 4);
            put(field, value.numbers[1], 4);
            put(field, value.numbers[2], 1);
            break;
        case Shape::dateTime:
            put(field, value.numbers[0], 2);
            for (std::size_t i = 1; i < 10; ++i)
                put(field, value.numbers[i], 1);
            break;
        case Shape::twoTexts:
            put(field, static_cast<std::int64_t>(value.first.size()), 2);
            put(field, value.first);
            put(field, static_cast<std::int64_t>(value.second.size()), 2);
            put(field, value.second);
            break;
        case Shape::text:
            put(field, value.first);
            break;
    }
    return field;
}

/// False when a length does not fit into its 16 bits.
bool putValue(Octets& out, std::uint8_t tag, const std::string& name, const Octets& field) {
    if (name.size() > 0xFFFF || field.size() > 0xFFFF) return false;
    put(out, tag, 1);
    put(out, static_cast<std::int64_t>(name.size()), 2);
    put(out, name);
    put(out, static_cast<std::int64_t>(field.size()), 2);
    out.insert(out.end(), field.begin(), field.end());
    return true;
}

bool putAttribute(Octets& out, const ModelAttribute& attribute) {
    if (attribute.values.empty()) return true;
    std::string name;
    std::size_t at = 0;
    if (attribute.nameIndex == -1) {
        const ModelValue& first = attribute.values[0];
        const Kind* const kind = kindOfCode(first.kind);
        name = first.first;
        // The name must be a text, and without a name the values would be those of the attribute
        // before it.
        if (kind == nullptr || kind->shape != Shape::text || name.empty()) return false;
        // A name alone: "unsupported", with the name as the value.
        if (attribute.values.size() == 1) return putValue(out, 0x10, name, valueField(first));
        at = 1;
    } else {
        if (attribute.nameIndex < 0 || attribute.nameIndex >= 129) return false;
        name = kNames[static_cast<std::size_t>(attribute.nameIndex)];
    }
    for (; at < attribute.values.size(); ++at) {
        const ModelValue& value = attribute.values[at];
        const std::uint8_t tag =
            value.kind == kModelRawKind ? value.tag : kindOfCode(value.kind)->tag;
        if (!putValue(out, tag, name, valueField(value))) return false;
        name.clear();
    }
    return true;
}

bool putGroup(Octets& out, std::uint8_t delimiter, const std::vector<ModelAttribute>& group) {
    for (std::size_t i = 0; i < group.size(); ++i) {
        if (i == 0 || group[i].instance != group[i - 1].instance) put(out, delimiter, 1);
        if (!putAttribute(out, group[i])) return false;
    }
    return true;
}

}  // namespace

std::optional<Octets> modelWritten(const ModelMessage& message, bool isResponse) {
    Octets out;
    put(out, message.version[0], 1);
    put(out, message.version[1], 1);
    if (isResponse) {
        put(out, message.code, 2);
    } else {
        if (message.code >= std::size(kOperations)) return {};
        put(out, kOperations[message.code][0], 2);
    }
    for (const std::uint8_t byte : message.requestId)
        put(out, byte, 1);
    if (!putGroup(out, 0x01, message.groups[0]) || !putGroup(out, 0x05, message.groups[3]) ||
        !putGroup(out, 0x04, message.groups[2]) || !putGroup(out, 0x02, message.groups[1])) {
        return {};
    }
    put(out, 0x03, 1);
    return out;
}

}  // namespace velmora::testing
