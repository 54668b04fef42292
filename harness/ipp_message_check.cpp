#include "harness/ipp_message_check.h"

#include <cstring>

namespace velmora::testing {
namespace {

ModelValue modelOf(const IppValue& value) {
    ModelValue model;
    model.kind = static_cast<std::uint32_t>(value.kind);
    switch (value.kind) {
        case IppValueKind::unsupported:
        case IppValueKind::unknown:
        case IppValueKind::noValue:
            break;
        case IppValueKind::integer:
        case IppValueKind::boolean:
        case IppValueKind::enumeration:
            model.numbers[0] = value.number;
            break;
        case IppValueKind::rangeOfInteger:
            model.numbers[0] = value.range.lower;
            model.numbers[1] = value.range.upper;
            break;
        case IppValueKind::resolution:
            model.numbers[0] = value.resolution.crossFeed;
            model.numbers[1] = value.resolution.feed;
            model.numbers[2] = value.resolution.units;
            break;
        case IppValueKind::dateTime: {
            const IppDateTime& time = value.dateTime;
            model.numbers = {time.year,         time.month,
                             time.day,          time.hour,
                             time.minutes,      time.seconds,
                             time.deciSeconds,  static_cast<std::uint8_t>(time.directionFromUtc),
                             time.hoursFromUtc, time.minutesFromUtc};
            break;
        }
        case IppValueKind::textWithLanguage:
        case IppValueKind::nameWithLanguage:
            // Compares both as C strings.
            model.first = value.languageText.language;
            model.second = value.languageText.text();
            break;
        case IppValueKind::rawOctets:
            model.tag = value.raw.tag;
            model.first = value.raw.view();
            break;
        default:
            model.first = value.text.view();
            // The length must be that of the C string.
            if (std::strlen(value.text.bytes) != value.text.length) model.kind = ~0u;
            break;
    }
    return model;
}

}  // namespace

ModelMessage modelOf(const IppMessage& message) {
    ModelMessage model;
    model.version = {message.version.majorNumber, message.version.minorNumber};
    model.code = message.operationOrStatus;
    std::memcpy(model.requestId.data(), &message.requestId, 4);
    for (const IppGroup group :
         {IppGroup::operation, IppGroup::job, IppGroup::printer, IppGroup::unsupported}) {
        auto& attributes = model.groups[static_cast<std::size_t>(group)];
        const IppAttribute* attribute = message.group(group).head;
        for (; attribute != nullptr; attribute = attribute->next) {
            attributes.push_back({attribute->nameIndex, attribute->groupInstance, {}});
            for (const IppValue* value = attribute->firstValue(); value; value = value->next)
                attributes.back().values.push_back(modelOf(*value));
        }
    }
    return model;
}

}  // namespace velmora::testing
