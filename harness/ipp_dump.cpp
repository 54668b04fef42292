#include "harness/ipp_dump.h"

namespace velmora::testing {
namespace {

std::string quoted(std::string_view octets) {
    constexpr char kHex[] = "0123456789abcdef";
    std::string text = "'";
    for (const char c : octets) {
        if (c >= ' ' && c <= '~' && c != '\\') {
            text += c;
        } else {
            text += '\\';
            text += kHex[(c >> 4) & 15];
            text += kHex[c & 15];
        }
    }
    return text + "'";
}

std::string numbers(std::initializer_list<std::int64_t> list) {
    std::string text;
    for (const std::int64_t number : list) {
        if (!text.empty()) text += ':';
        text += std::to_string(number);
    }
    return text;
}

std::string payloadOf(const IppValue& value) {
    const IppKindRow* const row = ippRowOfKind(value.kind);
    if (row == nullptr) return "no kind";
    switch (row->layout) {
        case IppValueLayout::nothing:
            return "";
        case IppValueLayout::number:
            return numbers({value.number});
        case IppValueLayout::boolean:
            return value.number != 0 ? "true" : "false";
        case IppValueLayout::range:
            return numbers({value.range.lower, value.range.upper});
        case IppValueLayout::resolution:
            return numbers(
                {value.resolution.crossFeed, value.resolution.feed, value.resolution.units});
        case IppValueLayout::dateTime: {
            const IppDateTime& time = value.dateTime;
            return numbers({time.year, time.month, time.day, time.hour, time.minutes, time.seconds,
                            time.deciSeconds, time.directionFromUtc, time.hoursFromUtc,
                            time.minutesFromUtc});
        }
        case IppValueLayout::languageText:
            return quoted(value.languageText.language) + quoted(value.languageText.text());
        case IppValueLayout::text:
            return quoted(value.text.view());
        case IppValueLayout::raw:
            return numbers({value.raw.tag}) + quoted(value.raw.view());
    }
    return "no layout";
}

}  // namespace

std::string dumpOf(const IppMessage& message) {
    std::string text = numbers({message.version.majorNumber, message.version.minorNumber,
                                message.operationOrStatus, message.requestId});
    text += '\n';
    for (unsigned i = 0; i < kIppGroupCount; ++i) {
        unsigned run = 0;
        const IppAttribute* previous = nullptr;
        for (const IppAttribute* attribute = message.group(static_cast<IppGroup>(i)).head;
             attribute != nullptr; previous = attribute, attribute = attribute->next) {
            if (previous != nullptr && previous->groupInstance != attribute->groupInstance) ++run;
            text.append(std::to_string(i)).append("/").append(std::to_string(run));
            text.append(" ").append(std::to_string(attribute->nameIndex)).append(" ");
            text.append(IppAttributeNames::nameOf(attribute->nameIndex)).append(" =");
            for (const IppValue* value = attribute->firstValue(); value; value = value->next) {
                text.append(" ").append(std::to_string(static_cast<std::uint32_t>(value->kind)));
                text.append("(").append(payloadOf(*value)).append(")");
            }
            text += '\n';
        }
    }
    return text;
}

}  // namespace velmora::testing
