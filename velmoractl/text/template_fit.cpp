#include "velmoractl/text/template_fit.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <string_view>
#include <tuple>
#include <utility>

#include "ipp/job_template.h"
#include "ipp/job_template_choices.h"
#include "velmoractl/text/ipp_text.h"
#include "velmoractl/text/media_size.h"
#include "velmoractl/text/template_attributes.h"
#include "velmoractl/text/whole_number.h"

namespace velmora::ctl {
namespace {

using Texts = std::vector<std::string>;

/// A template with another value of one attribute.
struct Choice {
    JobTemplate job;
    bool loss;
};
using Fit = std::optional<Choice>;

std::optional<std::uint32_t> numberOf(std::string_view text) {
    return wholeNumber<std::uint32_t>(text);
}

bool holds(const Texts& values, std::string_view value) {
    return std::ranges::find(values, value) != values.end();
}

/// What all printers support.
class Offers {
  public:
    explicit Offers(std::span<const IppMessage* const> printers) : printers_(printers) {}

    /// Values of "NAME-supported" that each printer has, in the first one's order; printers without
    /// that list leave the choice to the others.
    Texts values(const std::string& name) const {
        std::optional<Texts> common;
        for (const IppMessage* printer : printers_) {
            const Texts own = valuesOf(*printer, IppGroup::printer, name + "-supported");
            if (own.empty()) continue;
            if (!common) {
                common = own;
                continue;
            }
            std::erase_if(*common, [&](const std::string& one) { return !holds(own, one); });
        }
        return common.value_or(Texts());
    }

    std::vector<std::uint32_t> numbers(const std::string& name) const {
        std::vector<std::uint32_t> numbers;
        for (const std::string& text : values(name)) {
            if (const auto number = numberOf(text)) numbers.push_back(*number);
        }
        std::ranges::sort(numbers);
        return numbers;
    }

    /// The largest number that each printer takes at most; a list may hold numbers and ranges.
    /// Empty if no printer has a list, or they have nothing in common.
    std::optional<std::uint32_t> largest(const std::string& name, std::uint32_t most) const {
        bool known = false;
        // Each printer may lower it, and then the ones before must be asked again.
        for (;;) {
            const std::uint32_t before = most;
            for (const IppMessage* printer : printers_) {
                const Texts own = valuesOf(*printer, IppGroup::printer, name + "-supported");
                if (own.empty()) continue;
                known = true;
                std::uint32_t best = 0;
                for (const std::string& text : own)
                    best = std::max(best, largestOf(text, most));
                if (best == 0) return std::nullopt;
                most = best;
            }
            if (most == before) return known ? std::optional(most) : std::nullopt;
        }
    }

  private:
    /// Of "4" or "1-99", the largest number up to `most`; 0 if none.
    static std::uint32_t largestOf(const std::string& text, std::uint32_t most) {
        const std::size_t dash = text.find('-');
        const auto lower = numberOf(std::string_view(text).substr(0, dash));
        const auto upper =
            dash == std::string::npos ? lower : numberOf(std::string_view(text).substr(dash + 1));
        if (!lower || !upper || *lower > most || *lower > *upper) return 0;
        return std::min(*upper, most);
    }

    std::span<const IppMessage* const> printers_;
};

Fit withKeyword(const JobTemplate& job, std::string JobTemplate::*field, const std::string& value,
                bool loss) {
    Choice choice{job, loss};
    choice.job.*field = value;
    return choice;
}

Fit withNumber(const JobTemplate& job, std::uint32_t JobTemplate::*field, std::uint32_t value,
               bool loss) {
    Choice choice{job, loss};
    choice.job.*field = value;
    return choice;
}

/// The first of the values that is offered and is not what was refused.
const char* firstOffered(const Texts& offered, const std::string& refused,
                         std::span<const char* const> values) {
    for (const char* value : values) {
        if (value != refused && holds(offered, value)) return value;
    }
    return nullptr;
}

/// Who has named a medium: of equal sheets a self-describing name of a standard goes before a
/// vendor's, and that before an older one.
enum class Naming { standard, vendor, older };

Naming namingOf(std::string_view name) {
    const std::string_view cls = name.substr(0, name.find('_'));
    if (cls == name) return Naming::older;
    constexpr std::string_view kStandards[] = {"iso", "na", "jis", "jpn", "prc", "roc", "asme"};
    const bool standard = std::ranges::find(kStandards, cls) != std::end(kStandards);
    return standard ? Naming::standard : Naming::vendor;
}

Fit fitMedia(const JobTemplate& job, const Offers& offers) {
    const std::optional<MediaSize> wanted = mediaSizeOf(job.media);
    if (!wanted) return std::nullopt;
    // A sheet that differs by at most a tenth in both directions still shows the page.
    const auto near = [](std::int32_t one, std::int32_t other) {
        return std::abs(one - other) <= one / 10;
    };
    const std::string* best = nullptr;
    std::pair<std::int64_t, Naming> bestRank{};
    const Texts offered = offers.values("media");
    for (const std::string& name : offered) {
        const std::optional<MediaSize> size = mediaSizeOf(name);
        if (!size || name == job.media) continue;
        const bool same = sameSheet(*wanted, *size);
        if (!same && !(near(wanted->width, size->width) && near(wanted->height, size->height))) {
            continue;
        }
        const std::int64_t distance =
            std::abs(wanted->width - size->width) + std::abs(wanted->height - size->height);
        // Among equal sheets the name decides, not the rounding of inches.
        const std::pair<std::int64_t, Naming> rank{same ? 0 : distance, namingOf(name)};
        if (best != nullptr && bestRank <= rank) continue;
        best = &name;
        bestRank = rank;
    }
    if (best == nullptr) return std::nullopt;
    return withKeyword(job, &JobTemplate::media, *best, bestRank.first != 0);
}

Fit fitSides(const JobTemplate& job, const Offers& offers) {
    // Two names of one thing (RFC 2911, 4.2.8, and its predecessors).
    static constexpr const char* kLongEdge[] = {"two-sided-long-edge", "duplex", "head-to-head"};
    static constexpr const char* kShortEdge[] = {"two-sided-short-edge", "tumble", "head-to-toe"};
    static constexpr const char* kOneSided[] = {"one-sided"};
    const Texts offered = offers.values("sides");
    for (const std::span<const char* const> names :
         {std::span<const char* const>(kLongEdge), std::span<const char* const>(kShortEdge)}) {
        if (std::ranges::find(names, std::string_view(job.sides)) == names.end()) continue;
        if (const char* same = firstOffered(offered, job.sides, names)) {
            return withKeyword(job, &JobTemplate::sides, same, false);
        }
    }
    // One page a sheet can always be read; turned over at the wrong edge it stands on its head.
    for (const std::span<const char* const> names :
         {std::span<const char* const>(kOneSided), std::span<const char* const>(kLongEdge)}) {
        if (const char* other = firstOffered(offered, job.sides, names)) {
            return withKeyword(job, &JobTemplate::sides, other, true);
        }
    }
    return std::nullopt;
}

/// In dots per ten metres, so that both units are whole numbers.
std::pair<std::int64_t, std::int64_t> densityOf(const JobTemplate::Resolution& one) {
    const std::int64_t scale = one.units == kDotsPerCentimetre ? 254 : 100;
    return {std::int64_t{one.crossFeed} * scale, std::int64_t{one.feed} * scale};
}

Fit fitResolution(const JobTemplate& job, const Offers& offers) {
    const TemplateAttribute& attribute = *findTemplateAttribute("printer-resolution");
    const auto [wantedCross, wantedFeed] = densityOf(job.printerResolution);
    // 118 dots per centimetre are meant to be 300 per inch.
    const auto atLeast = [](std::int64_t one, std::int64_t wanted) {
        return one >= wanted - wanted / 100;
    };
    Fit best;
    std::pair<bool, std::int64_t> bestRank{};
    for (const std::string& text : offers.values("printer-resolution")) {
        JobTemplate changed = job;
        if (!attribute.set(changed, text)) continue;
        if (changed.printerResolution == job.printerResolution) continue;
        const auto [cross, feed] = densityOf(changed.printerResolution);
        const bool loss = !atLeast(cross, wantedCross) || !atLeast(feed, wantedFeed);
        const std::int64_t dots = cross + feed;
        // The smallest that is fine enough; without one the finest.
        const std::pair<bool, std::int64_t> rank{loss, loss ? -dots : dots};
        if (best && bestRank <= rank) continue;
        best = Choice{changed, loss};
        bestRank = rank;
    }
    return best;
}

Fit fitQuality(const JobTemplate& job, const Offers& offers) {
    Fit lower;
    for (const std::uint32_t value : offers.numbers("print-quality")) {
        if (value > job.printQuality) {
            return withNumber(job, &JobTemplate::printQuality, value, false);
        }
        if (value < job.printQuality) {
            lower = withNumber(job, &JobTemplate::printQuality, value, true);
        }
    }
    return lower;
}

/// A finishing that leaves the place to the printer, and those that name it (PWG 5100.1).
struct FinishingFamily {
    std::uint32_t any, first, last;
};
constexpr FinishingFamily kFinishingFamilies[] = {
    {9, 24, 27},    // edge-stitch, among the numbers of staples
    {4, 20, 35},    // staple
    {5, 70, 85},    // punch
    {7, 50, 53},    // bind
    {10, 90, 101},  // fold
    {11, 60, 64},   // trim
};
constexpr std::uint32_t kNoFinishing = 3;

Fit fitFinishings(const JobTemplate& job, const Offers& offers) {
    const std::vector<std::uint32_t> offered = offers.numbers("finishings");
    const auto has = [&](std::uint32_t value) {
        return value != job.finishings && std::ranges::binary_search(offered, value);
    };
    for (const FinishingFamily& family : kFinishingFamilies) {
        const bool anywhere = job.finishings == family.any;
        const bool inFamily =
            anywhere || (job.finishings >= family.first && job.finishings <= family.last);
        if (!inFamily) continue;
        if (has(family.any)) {
            return withNumber(job, &JobTemplate::finishings, family.any, true);
        }
        for (std::uint32_t value = family.first; value <= family.last; ++value) {
            if (family.any == 4 && value >= 24 && value <= 27) continue;
            if (has(value)) {
                return withNumber(job, &JobTemplate::finishings, value, !anywhere);
            }
        }
    }
    // Nothing is stapled or cut unless the template asks for it.
    if (!has(kNoFinishing)) return std::nullopt;
    return withNumber(job, &JobTemplate::finishings, kNoFinishing, true);
}

Fit fitOrientation(const JobTemplate& job, const Offers& offers) {
    // Turned by half a turn: portrait and its reverse, landscape and its reverse (RFC
    // 2911, 4.2.10).
    constexpr std::pair<std::uint32_t, std::uint32_t> kTurned[] = {{3, 6}, {6, 3}, {4, 5}, {5, 4}};
    const std::vector<std::uint32_t> offered = offers.numbers("orientation-requested");
    for (const auto& [wanted, turned] : kTurned) {
        if (wanted != job.orientationRequested) continue;
        if (!std::ranges::binary_search(offered, turned)) continue;
        return withNumber(job, &JobTemplate::orientationRequested, turned, true);
    }
    return std::nullopt;
}

/// Fewer pages on a sheet, or fewer copies.
Fit fitFewer(const JobTemplate& job, const Offers& offers, const char* name,
             std::uint32_t JobTemplate::*field) {
    const std::uint32_t wanted = job.*field;
    if (wanted == 0) return std::nullopt;  // of a damaged record
    const auto fewer = offers.largest(name, wanted - 1);
    if (!fewer) return std::nullopt;
    return withNumber(job, field, *fewer, true);
}

Fit fitPageRanges(const JobTemplate& job, const Offers& /*offers*/) {
    if (job.pageRanges.empty()) return std::nullopt;
    return withKeyword(job, &JobTemplate::pageRanges, "", true);  // all pages
}

Fit fitHold(const JobTemplate& job, const Offers& offers) {
    static constexpr const char* kAtOnce[] = {"no-hold"};
    const char* const now =
        firstOffered(offers.values("job-hold-until"), job.jobHoldUntil, kAtOnce);
    if (now == nullptr) return std::nullopt;
    return withKeyword(job, &JobTemplate::jobHoldUntil, now, true);
}

Fit fitSheets(const JobTemplate& job, const Offers& offers) {
    // Which sheets "standard" means is the printer's choice (RFC 2911, 4.2.3).
    static constexpr const char* kSheets[] = {"standard", "job-start-sheet", "job-both-sheets",
                                              "job-end-sheet"};
    static constexpr const char* kNone[] = {"none"};
    const Texts offered = offers.values("job-sheets");
    if (job.jobSheets == "standard") {
        if (const char* sheet = firstOffered(offered, job.jobSheets, kSheets)) {
            return withKeyword(job, &JobTemplate::jobSheets, sheet, false);
        }
    }
    const char* const none = firstOffered(offered, job.jobSheets, kNone);
    if (none == nullptr) return std::nullopt;
    return withKeyword(job, &JobTemplate::jobSheets, none, true);
}

Fit fitHandling(const JobTemplate& job, const Offers& offers) {
    // A job has one document: all that differs is whether its copies are collated.
    static constexpr const char* kCollated[] = {"separate-documents-collated-copies",
                                                "single-document", "single-document-new-sheet"};
    static constexpr const char* kAll[] = {"separate-documents-uncollated-copies",
                                           "separate-documents-collated-copies", "single-document",
                                           "single-document-new-sheet"};
    const std::string& wanted = job.multipleDocumentHandling;
    const Texts offered = offers.values("multiple-document-handling");
    const bool collated =
        std::ranges::find(kCollated, std::string_view(wanted)) != std::end(kCollated);
    const char* same = collated ? firstOffered(offered, wanted, kCollated) : nullptr;
    if (same == nullptr && job.copies == 1) same = firstOffered(offered, wanted, kAll);
    const char* const value = same != nullptr ? same : firstOffered(offered, wanted, kAll);
    if (value == nullptr) return std::nullopt;
    return withKeyword(job, &JobTemplate::multipleDocumentHandling, value, same == nullptr);
}

struct Rule {
    const char* name;
    Fit (*fit)(const JobTemplate& job, const Offers& offers);
    /// The value as the printer lists it.
    std::string (*text)(const JobTemplate& job);
};

std::string asNumber(std::uint32_t value) {
    return std::to_string(value);
}

// Another priority is never closer: printers map all from 1 to 100 (RFC 2911, 4.2.1).
const Rule kRules[] = {
    {"job-hold-until", fitHold, [](const JobTemplate& job) { return job.jobHoldUntil; }},
    {"job-sheets", fitSheets, [](const JobTemplate& job) { return job.jobSheets; }},
    {"copies",
     [](const JobTemplate& job, const Offers& offers) {
         return fitFewer(job, offers, "copies", &JobTemplate::copies);
     },
     [](const JobTemplate& job) { return asNumber(job.copies); }},
    // After the copies, whose number decides what is the same.
    {"multiple-document-handling", fitHandling,
     [](const JobTemplate& job) { return job.multipleDocumentHandling; }},
    {"finishings", fitFinishings, [](const JobTemplate& job) { return asNumber(job.finishings); }},
    {"sides", fitSides, [](const JobTemplate& job) { return job.sides; }},
    {"number-up",
     [](const JobTemplate& job, const Offers& offers) {
         return fitFewer(job, offers, "number-up", &JobTemplate::numberUp);
     },
     [](const JobTemplate& job) { return asNumber(job.numberUp); }},
    {"orientation-requested", fitOrientation,
     [](const JobTemplate& job) { return asNumber(job.orientationRequested); }},
    {"media", fitMedia, [](const JobTemplate& job) { return job.media; }},
    {"printer-resolution", fitResolution,
     [](const JobTemplate& job) { return findTemplateAttribute("printer-resolution")->get(job); }},
    {"print-quality", fitQuality,
     [](const JobTemplate& job) { return asNumber(job.printQuality); }},
    {"page-ranges", fitPageRanges, [](const JobTemplate& job) { return job.pageRanges; }},
};

/// A value that is replaced again is reported once, with its first value.
void join(std::vector<Replacement>& all, Replacement&& next) {
    const auto found = std::ranges::find(all, next.name, &Replacement::name);
    if (found == all.end()) {
        all.push_back(std::move(next));
        return;
    }
    found->after = std::move(next.after);
    found->loss |= next.loss;
}

bool isListed(const Texts& offered, const std::string& value) {
    if (holds(offered, value)) return true;
    const auto wanted = numberOf(value);
    if (!wanted) return false;
    return std::ranges::any_of(offered, [&](const std::string& one) {
        const std::size_t dash = one.find('-');
        if (dash == std::string::npos) return false;
        const auto lower = numberOf(std::string_view(one).substr(0, dash));
        const auto upper = numberOf(std::string_view(one).substr(dash + 1));
        return lower && upper && *wanted >= *lower && *wanted <= *upper;
    });
}

}  // namespace

TemplateFit fitTemplate(JobTemplate& job, std::span<const IppMessage* const> printers,
                        std::span<const std::string> refused, bool allowLoss) {
    TemplateFit fit;
    const Offers offers(printers);
    for (const std::string& name : refused) {
        const bool known = std::ranges::find(kRules, name, &Rule::name) != std::end(kRules);
        if (known) continue;
        const TemplateAttribute* const attribute = findTemplateAttribute(name);
        fit.stuck.push_back({name, attribute == nullptr ? "" : attribute->get(job), {}, false});
    }
    for (const Rule& rule : kRules) {
        if (std::ranges::find(refused, rule.name) == refused.end()) continue;
        const TemplateAttribute& attribute = *findTemplateAttribute(rule.name);
        Replacement one{rule.name, attribute.get(job), {}, false};
        const Fit choice = rule.fit(job, offers);
        if (choice) {
            one.after = attribute.get(choice->job);
            one.loss = choice->loss;
        }
        if (choice && (allowLoss || !choice->loss)) {
            job = choice->job;
            fit.replaced.push_back(std::move(one));
        } else {
            fit.stuck.push_back(std::move(one));
        }
    }
    return fit;
}

FitOutcome fitUntilTaken(JobTemplate& job, std::span<const IppMessage* const> printers,
                         const std::function<std::vector<Verdict>(const JobTemplate&)>& ask,
                         bool allowLoss) {
    FitOutcome outcome;
    std::vector<JobTemplate> tried;
    // A template that is accepted in part is better than one that is refused in the end.
    std::optional<std::pair<JobTemplate, FitOutcome>> taken;
    for (;;) {
        tried.push_back(job);
        const std::vector<Verdict> verdicts = ask(job);
        std::vector<std::string> names;
        outcome.taken = true;
        for (std::size_t i = 0; i < verdicts.size(); ++i) {
            outcome.taken &= !verdicts[i].refused;
            Texts own = verdicts[i].attributes;
            if (own.empty() && verdicts[i].refused) own = notOffered(job, *printers[i]);
            for (std::string& name : own) {
                if (!holds(names, name)) names.push_back(std::move(name));
            }
        }
        JobTemplate next = job;
        TemplateFit fit = fitTemplate(next, printers, names, allowLoss);
        outcome.stuck = std::move(fit.stuck);
        // A value that is refused after all, or by another printer, must not come back.
        const bool again = std::ranges::find(tried, next) != tried.end();
        if (again) {
            for (const Replacement& one : fit.replaced)
                outcome.stuck.push_back({one.name, one.before, {}, false});
        }
        if (outcome.taken) taken = {job, outcome};
        if (again) break;
        for (Replacement& one : fit.replaced)
            join(outcome.replaced, std::move(one));
        job = next;
    }
    if (taken) std::tie(job, outcome) = *std::move(taken);
    return outcome;
}

std::vector<std::string> notOffered(const JobTemplate& job, const IppMessage& printer) {
    std::vector<std::string> names;
    for (const Rule& rule : kRules) {
        const std::string name = rule.name;
        const Texts offered = valuesOf(printer, IppGroup::printer, name + "-supported");
        if (offered.empty()) continue;
        const bool bad = name == "page-ranges"
                             ? !job.pageRanges.empty() && offered.front() == "false"
                             : !isListed(offered, rule.text(job));
        if (bad) names.push_back(name);
    }
    return names;
}

}  // namespace velmora::ctl
