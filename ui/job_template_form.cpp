#include "ui/job_template_form.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <span>

#include "ipp/job_template.h"
#include "ipp/job_template_choices.h"

namespace velmora {
namespace {

constexpr const char* kJobSheet = "standard";
constexpr const char* kNoJobSheet = "none";

constexpr std::uint32_t kFirstQuality = 3;  // RFC 2911, 4.2.13: draft, normal, high
constexpr std::uint32_t kQualities = 3;
constexpr std::uint32_t kPortrait = 3;  // RFC 2911, 4.2.10, and the three that follow
constexpr std::uint32_t kOrientations = 4;

template <class Choices, class Predicate>
int indexIf(const Choices& choices, Predicate matches) {
    const auto found = std::find_if(choices.begin(), choices.end(), matches);
    return found == choices.end() ? -1 : static_cast<int>(found - choices.begin());
}

int indexOf(std::span<const char* const> keywords, const std::string& keyword) {
    return indexIf(keywords, [&](const char* item) { return keyword == item; });
}

int indexOf(std::span<const NumberChoice> choices, std::uint32_t value) {
    return indexIf(choices, [&](const NumberChoice& item) { return item.value == value; });
}

int resolutionIndex(const JobTemplate::Resolution& resolution) {
    // The list offers dots per inch, the same in both directions; anything else has no item.
    if (resolution.crossFeed != resolution.feed || resolution.units != kDotsPerInch) return -1;
    return indexOf(resolutionChoices(), resolution.feed);
}

int radioIndex(std::uint32_t value, std::uint32_t first, std::uint32_t count) {
    return value >= first && value - first < count ? static_cast<int>(value - first) : -1;
}

void storeRadio(int index, std::uint32_t first, std::uint32_t count, std::uint32_t& value) {
    if (index >= 0 && static_cast<std::uint32_t>(index) < count)
        value = first + static_cast<std::uint32_t>(index);
}

/// The item at `index`, or null when nothing is selected.
template <class Item>
const Item* selected(std::span<const Item> choices, int index) {
    if (index < 0 || static_cast<std::size_t>(index) >= choices.size()) return nullptr;
    return &choices[static_cast<std::size_t>(index)];
}

void storeKeyword(std::span<const char* const> choices, int index, std::string& keyword) {
    if (const auto* item = selected(choices, index)) keyword = *item;
}

void storeNumber(std::span<const NumberChoice> choices, int index, std::uint32_t& value) {
    if (const auto* item = selected(choices, index)) value = item->value;
}

}  // namespace

JobTemplateForm formOf(const JobTemplate& record) {
    JobTemplateForm form;
    form.priority = static_cast<int>(record.jobPriority);
    form.copies = static_cast<int>(record.copies);
    form.pageRanges = record.pageRanges;
    form.pageRangeIndex =
        record.pageRanges.empty() ? JobTemplateForm::kAllPages : JobTemplateForm::kSomePages;
    form.qualityIndex = radioIndex(record.printQuality, kFirstQuality, kQualities);
    form.orientationIndex = radioIndex(record.orientationRequested, kPortrait, kOrientations);
    form.jobSheet = record.jobSheets == kJobSheet ? 1 : 0;
    form.fidelity = record.ippAttributeFidelity != 0 ? 1 : 0;
    form.holdUntil = indexOf(holdUntilChoices(), record.jobHoldUntil);
    form.resolution = resolutionIndex(record.printerResolution);
    form.sides = indexOf(sidesChoices(), record.sides);
    form.finishings = indexOf(finishingsChoices(), record.finishings);
    form.media = indexOf(mediaChoices(), record.media);
    form.numberUp = indexOf(numberUpChoices(), record.numberUp);
    return form;
}

void store(const JobTemplateForm& form, JobTemplate& record) {
    record.jobSheets = form.jobSheet != 0 ? kJobSheet : kNoJobSheet;
    record.jobPriority = static_cast<std::uint32_t>(form.priority);
    storeKeyword(holdUntilChoices(), form.holdUntil, record.jobHoldUntil);
    record.copies = static_cast<std::uint32_t>(form.copies);
    record.pageRanges = needsPageRangeCheck(form) ? form.pageRanges : std::string();
    storeKeyword(mediaChoices(), form.media, record.media);
    storeKeyword(sidesChoices(), form.sides, record.sides);
    if (const auto* item = selected(resolutionChoices(), form.resolution))
        record.printerResolution = {item->value, item->value, kDotsPerInch};
    storeRadio(form.qualityIndex, kFirstQuality, kQualities, record.printQuality);
    storeNumber(finishingsChoices(), form.finishings, record.finishings);
    storeRadio(form.orientationIndex, kPortrait, kOrientations, record.orientationRequested);
    storeNumber(numberUpChoices(), form.numberUp, record.numberUp);
    record.ippAttributeFidelity = form.fidelity != 0 ? 1 : 0;
}

bool needsPageRangeCheck(const JobTemplateForm& form) noexcept {
    return form.pageRangeIndex == JobTemplateForm::kSomePages;
}

}  // namespace velmora
