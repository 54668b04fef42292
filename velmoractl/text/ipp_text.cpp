#include "velmoractl/text/ipp_text.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <span>

#include "ipp/job_template_choices.h"
#include "ipp/status_names.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/text/whole_number.h"

namespace velmora::ctl {
namespace {

constexpr std::size_t kShownValues = 24;

constexpr const char* kDescription[] = {"printer-name",
                                        "printer-make-and-model",
                                        "printer-location",
                                        "printer-info",
                                        "printer-state",
                                        "printer-state-reasons",
                                        "printer-state-message",
                                        "printer-is-accepting-jobs",
                                        "queued-job-count",
                                        "uri-authentication-supported",
                                        "uri-security-supported",
                                        "ipp-versions-supported",
                                        "document-format-supported",
                                        "media-supported",
                                        "sides-supported",
                                        "print-quality-supported",
                                        "printer-resolution-supported",
                                        "finishings-supported"};

std::string textOf(const IppValue& value) {
    char area[48];
    switch (value.kind) {
        case IppValueKind::integer:
        case IppValueKind::enumeration:
            return std::to_string(value.number);
        case IppValueKind::boolean:
            return value.number != 0 ? "true" : "false";
        case IppValueKind::rangeOfInteger:
            return std::to_string(value.range.lower) + "-" + std::to_string(value.range.upper);
        case IppValueKind::resolution: {
            const IppResolution& dots = value.resolution;
            std::string text = std::to_string(dots.crossFeed);
            if (dots.feed != dots.crossFeed) text += "x" + std::to_string(dots.feed);
            return text + (dots.units == kDotsPerCentimetre ? "dpcm" : "dpi");
        }
        case IppValueKind::dateTime: {
            const IppDateTime& time = value.dateTime;
            std::snprintf(area, sizeof area, "%04u-%02u-%02u %02u:%02u:%02u", time.year, time.month,
                          time.day, time.hour, time.minutes, time.seconds);
            return area;
        }
        case IppValueKind::textWithLanguage:
        case IppValueKind::nameWithLanguage:
            return value.languageText.text();
        case IppValueKind::unsupported:
            return "unsupported";
        case IppValueKind::unknown:
            return "unknown";
        case IppValueKind::noValue:
            return "no value";
        case IppValueKind::rawOctets:
            std::snprintf(area, sizeof area, "(%u bytes of type 0x%02x)",
                          static_cast<unsigned>(value.raw.length), value.raw.tag);
            return area;
        default:
            return std::string(value.text.view());
    }
}

struct Enumeration {
    std::string_view attribute;
    std::span<const NumberChoice> names;
};

// RFC 2911, 4.4.11 and 4.3.7.
constexpr NumberChoice kPrinterStates[] = {{"idle", 3}, {"processing", 4}, {"stopped", 5}};
constexpr NumberChoice kJobStates[] = {
    {"pending", 3},  {"pending-held", 4}, {"processing", 5}, {"processing-stopped", 6},
    {"canceled", 7}, {"aborted", 8},      {"completed", 9}};

/// The first of the values that are not the attribute's name; null if there is none.
const IppValue* realValues(const IppAttribute& attribute) {
    const IppValue* const first = attribute.firstValue();
    return attribute.nameIndex < 0 && first != nullptr ? first->next : first;
}

std::span<const NumberChoice> namesOf(std::string_view attribute) {
    if (attribute.ends_with("-supported")) attribute.remove_suffix(10);
    const Enumeration enumerations[] = {{"printer-state", kPrinterStates},
                                        {"job-state", kJobStates},
                                        {"print-quality", qualityChoices()},
                                        {"orientation-requested", orientationChoices()},
                                        {"finishings", finishingsChoices()}};
    for (const Enumeration& enumeration : enumerations) {
        if (attribute == enumeration.attribute) return enumeration.names;
    }
    return {};
}

}  // namespace

std::string_view attributeName(const IppAttribute& attribute) {
    if (attribute.nameIndex >= 0) return IppAttributeNames::nameOf(attribute.nameIndex);
    // The name of an attribute that the table lacks is the first of its values.
    const IppValue* const name = attribute.firstValue();
    return name == nullptr ? std::string_view() : name->text.view();
}

std::vector<std::string> attributeValues(const IppAttribute& attribute) {
    std::vector<std::string> values;
    for (const IppValue* value = realValues(attribute); value != nullptr; value = value->next)
        values.push_back(textOf(*value));
    return values;
}

const IppAttribute* findAttribute(const IppMessage& message, IppGroup group, std::string_view name,
                                  std::uint32_t instance) {
    for (const IppAttribute* one = message.group(group).head; one != nullptr; one = one->next) {
        if (one->groupInstance == instance && attributeName(*one) == name) return one;
    }
    return nullptr;
}

std::vector<std::string> valuesOf(const IppMessage& message, IppGroup group, std::string_view name,
                                  std::uint32_t instance) {
    const IppAttribute* const found = findAttribute(message, group, name, instance);
    return found == nullptr ? std::vector<std::string>() : attributeValues(*found);
}

std::string valueOf(const IppMessage& message, IppGroup group, std::string_view name,
                    std::uint32_t instance) {
    const std::vector<std::string> values = valuesOf(message, group, name, instance);
    return values.empty() ? std::string() : values.front();
}

std::string shownValues(const std::vector<std::string>& values) {
    std::string text;
    for (const std::string& value :
         std::span(values).first(std::min(values.size(), kShownValues))) {
        text += (&value == values.data() ? "" : ", ") + shown(value, 80);
    }
    if (values.size() > kShownValues) {
        text += " and " + std::to_string(values.size() - kShownValues) + " more";
    }
    return text;
}

std::string enumText(std::string_view attribute, const std::string& number) {
    for (const NumberChoice& choice : namesOf(attribute)) {
        if (std::to_string(choice.value) == number) {
            return std::string(choice.text) + " (" + number + ")";
        }
    }
    return shown(number, 80);
}

std::string enumKeyword(std::string_view attribute, const std::string& number) {
    for (const NumberChoice& choice : namesOf(attribute)) {
        if (std::to_string(choice.value) == number) return choice.text;
    }
    return number;
}

std::vector<ShownAttribute> printerDescription(const IppMessage& answer) {
    std::vector<ShownAttribute> shownOnes;
    for (const std::string_view name : kDescription) {
        const IppAttribute* const attribute = findAttribute(answer, IppGroup::printer, name);
        if (attribute == nullptr) continue;
        std::vector<std::string> values = attributeValues(*attribute);
        if (values.empty()) continue;
        for (std::string& value : values) {
            if (enumKeyword(name, value) != value) value = enumText(name, value);
        }
        shownOnes.push_back({name, shownValues(values), attribute});
    }
    return shownOnes;
}

Json numberOrNull(const std::string& text) {
    const auto value = wholeNumber<std::int64_t>(text);
    return value ? Json(*value) : Json();
}

Json jsonValues(const IppAttribute& attribute) {
    const std::string_view name = attributeName(attribute);
    Json values = Json::array();
    for (const IppValue* value = realValues(attribute); value != nullptr; value = value->next) {
        const std::string text = textOf(*value);
        const std::string keyword = enumKeyword(name, text);
        if (value->kind == IppValueKind::boolean)
            values.push_back(value->number != 0);
        else if (keyword != text)
            values.push_back({{"value", value->number}, {"keyword", keyword}});
        else if (value->kind == IppValueKind::integer || value->kind == IppValueKind::enumeration)
            values.push_back(value->number);
        else
            values.push_back(text);
    }
    return values;
}

std::string statusText(std::uint32_t status) {
    const std::uint32_t code = status & 0xFFFF;
    char number[16];
    std::snprintf(number, sizeof number, "0x%04x", static_cast<unsigned>(code));
    const std::string_view name = ippStatusName(code);
    if (!name.empty()) return std::string(name) + " (" + number + ")";
    return std::string("status ") + number;
}

}  // namespace velmora::ctl
