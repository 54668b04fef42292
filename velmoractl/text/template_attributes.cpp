#include "velmoractl/text/template_attributes.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>

#include "ipp/job_template.h"
#include "ipp/job_template_choices.h"
#include "ipp/page_ranges.h"
#include "velmoractl/text/whole_number.h"

namespace velmora::ctl {
namespace {

// An IPP integer is signed.
constexpr std::uint32_t kLargest = std::numeric_limits<std::int32_t>::max();
// RFC 2910, 3.11: the longest value that is written.
constexpr std::size_t kLongestKeyword = 1023;

std::optional<std::uint32_t> number(std::string_view text, std::uint32_t lowest,
                                    std::uint32_t highest) {
    const auto value = wholeNumber<std::uint32_t>(text);
    return value && *value >= lowest && *value <= highest ? value : std::nullopt;
}

bool setNumber(std::uint32_t& field, const std::string& text, std::uint32_t highest) {
    const std::optional<std::uint32_t> value = number(text, 1, highest);
    if (value) field = *value;
    return value.has_value();
}

bool setKeyword(std::string& field, const std::string& text, std::span<const char* const> choices) {
    if (std::ranges::find(choices, text) == choices.end()) return false;
    field = text;
    return true;
}

/// A keyword of a printer's own (RFC 2911, 4.1.3), or a name that an administrator has given.
bool forceKeyword(std::string& field, const std::string& text) {
    const bool plain = std::ranges::none_of(
        text, [](char c) { return static_cast<std::uint8_t>(c) < 0x20 || c == 0x7F; });
    if (text.empty() || text.size() > kLongestKeyword || !plain) return false;
    field = text;
    return true;
}

/// A choice's text, or its number, or any number that an enumeration may have: printers know more
/// values than the dialogs offer.
bool setChoice(std::uint32_t& field, const std::string& text,
               std::span<const NumberChoice> choices) {
    for (const NumberChoice& choice : choices) {
        if (text != choice.text) continue;
        field = choice.value;
        return true;
    }
    return setNumber(field, text, kLargest);
}

std::string choiceText(std::uint32_t value, std::span<const NumberChoice> choices) {
    for (const NumberChoice& choice : choices) {
        if (value == choice.value) return choice.text;
    }
    return std::to_string(value);
}

std::string list(std::span<const char* const> choices) {
    std::string text;
    for (const char* choice : choices)
        text += (text.empty() ? "" : ", ") + std::string(choice);
    return text;
}

std::string list(std::span<const NumberChoice> choices) {
    std::string text;
    for (const NumberChoice& choice : choices)
        text += std::string(choice.text) + ", ";
    return text + "or the number of another value";
}

bool setMedia(JobTemplate& job, const std::string& text) {
    return forceKeyword(job.media, text);
}

bool setPageRanges(JobTemplate& job, const std::string& text) {
    try {
        // No text: the whole document.
        if (!text.empty()) PageRanges check(text);
    } catch (const PageRanges::ParseErrorException&) {
        return false;
    }
    job.pageRanges = text;
    return true;
}

/// "600dpi", "1200x600dpi", "118dpcm"; "600" means dots per inch.
bool setResolution(JobTemplate& job, const std::string& text) {
    std::string_view rest = text;
    std::uint8_t units = kDotsPerInch;
    if (rest.ends_with("dpcm")) {
        units = kDotsPerCentimetre;
        rest.remove_suffix(4);
    } else if (rest.ends_with("dpi")) {
        rest.remove_suffix(3);
    }
    const std::size_t cross = rest.find('x');
    const auto first = number(rest.substr(0, cross), 1, kLargest);
    const auto second =
        cross == std::string_view::npos ? first : number(rest.substr(cross + 1), 1, kLargest);
    if (!first || !second) return false;
    job.printerResolution = {*first, *second, units};
    return true;
}

std::string resolutionText(const JobTemplate& job) {
    const JobTemplate::Resolution& value = job.printerResolution;
    std::string text = std::to_string(value.crossFeed);
    if (value.feed != value.crossFeed) text += "x" + std::to_string(value.feed);
    return text + (value.units == kDotsPerCentimetre ? "dpcm" : "dpi");
}

bool setFidelity(JobTemplate& job, const std::string& text) {
    if (text != "true" && text != "false") return false;
    job.ippAttributeFidelity = text == "true" ? 1 : 0;
    return true;
}

using Job = JobTemplate;

const TemplateAttribute kAttributes[] = {
    {"job-priority", "1..100", "a job with a higher number is printed first",
     [] { return std::string("a number from 1 to 100"); },
     [](const Job& job) { return std::to_string(job.jobPriority); },
     [](Job& job, const std::string& text) { return setNumber(job.jobPriority, text, 100); },
     TemplateAttribute::Kind::number},
    {"job-hold-until", "WHEN", "when the printer may begin",
     [] { return list(holdUntilChoices()); }, [](const Job& job) { return job.jobHoldUntil; },
     [](Job& job, const std::string& text) {
         return setKeyword(job.jobHoldUntil, text, holdUntilChoices());
     },
     TemplateAttribute::Kind::text,
     [](Job& job, const std::string& text) { return forceKeyword(job.jobHoldUntil, text); }},
    {"copies", "NUMBER", "copies of each document",
     [] { return "a number from 1 to " + std::to_string(kLargest); },
     [](const Job& job) { return std::to_string(job.copies); },
     [](Job& job, const std::string& text) { return setNumber(job.copies, text, kLargest); },
     TemplateAttribute::Kind::number},
    {"printer-resolution", "RESOLUTION", "such as 600dpi, 1200x600dpi or 118dpcm",
     [] {
         return std::string(
             "300dpi, 600dpi, 1200dpi, or another NUMBERdpi, NUMBERxNUMBERdpi, "
             "NUMBERdpcm");
     },
     resolutionText, setResolution},
    {"print-quality", "QUALITY", "quality", [] { return list(qualityChoices()); },
     [](const Job& job) { return choiceText(job.printQuality, qualityChoices()); },
     [](Job& job, const std::string& text) {
         return setChoice(job.printQuality, text, qualityChoices());
     },
     TemplateAttribute::Kind::number},
    {"page-ranges", "RANGES", "such as 1,3,5-12; \"\" for all pages",
     [] {
         return std::string(
             "page numbers and ranges separated by commas, such as 1,3,5-12, or "
             "\"\" for all pages");
     },
     [](const Job& job) { return job.pageRanges; }, setPageRanges},
    {"media", "NAME", "paper: a name from the dialog's list or any other that the printer knows",
     [] { return list(mediaChoices()) + ", or any other name that the printer knows"; },
     [](const Job& job) { return job.media; }, setMedia},
    {"orientation-requested", "ORIENTATION", "orientation",
     [] { return list(orientationChoices()); },
     [](const Job& job) { return choiceText(job.orientationRequested, orientationChoices()); },
     [](Job& job, const std::string& text) {
         return setChoice(job.orientationRequested, text, orientationChoices());
     },
     TemplateAttribute::Kind::number},
    {"number-up", "NUMBER", "pages on one side of a sheet",
     [] { return std::string("1, 2, 4, or another number that the printer knows"); },
     [](const Job& job) { return std::to_string(job.numberUp); },
     [](Job& job, const std::string& text) { return setNumber(job.numberUp, text, kLargest); },
     TemplateAttribute::Kind::number},
    {"sides", "SIDES", "one or both sides of the paper",
     [] { return list(standardSidesChoices()); }, [](const Job& job) { return job.sides; },
     [](Job& job, const std::string& text) {
         return setKeyword(job.sides, text, standardSidesChoices());
     },
     TemplateAttribute::Kind::text,
     [](Job& job, const std::string& text) { return forceKeyword(job.sides, text); }},
    {"multiple-document-handling", "HANDLING", "how documents and copies are put together",
     [] { return list(documentHandlingChoices()); },
     [](const Job& job) { return job.multipleDocumentHandling; },
     [](Job& job, const std::string& text) {
         return setKeyword(job.multipleDocumentHandling, text, documentHandlingChoices());
     },
     TemplateAttribute::Kind::text,
     [](Job& job, const std::string& text) {
         return forceKeyword(job.multipleDocumentHandling, text);
     }},
    {"finishings", "FINISHING", "staples and holes", [] { return list(finishingsChoices()); },
     [](const Job& job) { return choiceText(job.finishings, finishingsChoices()); },
     [](Job& job, const std::string& text) {
         return setChoice(job.finishings, text, finishingsChoices());
     },
     TemplateAttribute::Kind::number},
    {"job-sheets", "SHEETS", "a sheet in front of each job",
     [] { return list(jobSheetsChoices()); }, [](const Job& job) { return job.jobSheets; },
     [](Job& job, const std::string& text) {
         return setKeyword(job.jobSheets, text, jobSheetsChoices());
     },
     TemplateAttribute::Kind::text,
     [](Job& job, const std::string& text) { return forceKeyword(job.jobSheets, text); }},
    {"ipp-attribute-fidelity", "true|false",
     "true: the printer must refuse a job that it cannot print exactly so",
     [] { return std::string("true, false"); },
     [](const Job& job) { return std::string(job.ippAttributeFidelity ? "true" : "false"); },
     setFidelity, TemplateAttribute::Kind::flag},
};

}  // namespace

std::span<const TemplateAttribute> templateAttributes() {
    return kAttributes;
}

const TemplateAttribute* findTemplateAttribute(std::string_view name) {
    const auto* const found = std::ranges::find(kAttributes, name, &TemplateAttribute::name);
    return found == std::end(kAttributes) ? nullptr : found;
}

}  // namespace velmora::ctl
