#include "velmoractl/text/template_fit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string_view>
#include <vector>

#include "ipp/job_template.h"
#include "velmoractl/text/media_size.h"
#include "velmoractl/text/template_attributes.h"

namespace velmora::ctl {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Values = std::vector<std::string>;

UniqueIppMessage offering(const std::string& name, const Values& values) {
    UniqueIppMessage printer = newIppMessage();
    const std::string supported = name + "-supported";
    const int index = IppAttributeNames::indexOf(supported.c_str());
    std::vector<const char*> texts;
    if (index < 0) texts.push_back(supported.c_str());
    for (const std::string& value : values)
        texts.push_back(value.c_str());
    addIppAttribute(*printer, IppGroup::printer, 0, newKeywordAttribute(index, texts));
    return printer;
}

JobTemplate templateWith(const std::string& name, const std::string& value) {
    JobTemplate job;
    const TemplateAttribute& attribute = *findTemplateAttribute(name);
    EXPECT_TRUE(attribute.set(job, value) || (attribute.force && attribute.force(job, value)))
        << name << " " << value;
    return job;
}

/// One attribute of a printer, and what a value that it refuses is fitted to.
struct Case {
    const char* name;
    const char* wanted;
    Values offered;
    const char* after;  ///< null: nothing is close
    bool loss;
};

void PrintTo(const Case& one, std::ostream* stream) {
    *stream << one.name << " " << one.wanted << " " << ::testing::PrintToString(one.offered);
}

class EveryAttribute : public ::testing::TestWithParam<Case> {};

TEST_P(EveryAttribute, IsReplacedByTheNearestValue) {
    const Case& one = GetParam();
    const UniqueIppMessage printer = offering(one.name, one.offered);
    const IppMessage* const printers[] = {printer.get()};
    const std::string refused[] = {one.name};
    for (const bool allowLoss : {false, true}) {
        SCOPED_TRACE(allowLoss);
        const JobTemplate before = templateWith(one.name, one.wanted);
        JobTemplate job = before;
        const TemplateFit fit = fitTemplate(job, printers, refused, allowLoss);
        const bool replaced = one.after != nullptr && (allowLoss || !one.loss);
        ASSERT_EQ(fit.replaced.size(), replaced ? 1u : 0u);
        ASSERT_EQ(fit.stuck.size(), replaced ? 0u : 1u);
        const Replacement& told = replaced ? fit.replaced.front() : fit.stuck.front();
        EXPECT_EQ(told.name, one.name);
        EXPECT_EQ(told.before, findTemplateAttribute(one.name)->get(before));
        EXPECT_EQ(told.after, one.after ? std::optional<std::string>(one.after) : std::nullopt);
        EXPECT_EQ(told.loss, one.loss);
        EXPECT_EQ(findTemplateAttribute(one.name)->get(job), replaced ? one.after : told.before);
        // The rest of the template is unchanged.
        const TemplateAttribute& attribute = *findTemplateAttribute(one.name);
        if (!replaced) {
            EXPECT_EQ(job, before);
        } else {
            JobTemplate expected = before;
            ASSERT_TRUE(attribute.set(expected, one.after) ||
                        (attribute.force && attribute.force(expected, one.after)));
            EXPECT_EQ(job, expected);
        }
    }
}

const Case kMediaCases[] = {
    {"media", "A4", {"na_letter_8.5x11in", "iso_a4_210x297mm"}, "iso_a4_210x297mm", false},
    {"media", "A4", {"iso-a4", "iso_a4_210x297mm"}, "iso_a4_210x297mm", false},
    {"media", "A4", {"om_sheet_210x297mm", "iso_a4_210x297mm"}, "iso_a4_210x297mm", false},
    {"media",
     "A4",
     {"iso_a4-tab_225x297mm", "om_sheet_209.6x297mm"},
     "om_sheet_209.6x297mm",
     false},
    {"media", "iso_a4_210x297mm", {"Letter", "A4"}, "A4", false},
    {"media", "Letter", {"iso_a4_210x297mm", "na_letter_8.5x11in"}, "na_letter_8.5x11in", false},
    {"media", "Com 10 Env.", {"na_number-10_4.125x9.5in"}, "na_number-10_4.125x9.5in", false},
    {"media",
     "Com 10 Env.",
     {"om_env_104.78x241.3mm", "na_number-10_4.12x9.5in"},
     "na_number-10_4.12x9.5in",
     false},
    {"media", "JIS B5", {"iso_b5_176x250mm", "jis_b5_182x257mm"}, "jis_b5_182x257mm", false},
    {"media", "Folio", {"na_foolscap_8.5x13in"}, "na_foolscap_8.5x13in", false},
    // Another size crops or scales the page.
    {"media", "A4", {"na_letter_8.5x11in", "na_legal_8.5x14in"}, "na_letter_8.5x11in", true},
    {"media", "A4", {"iso_a3_297x420mm", "iso_a5_148x210mm"}, nullptr, false},
    {"media",
     "A4",
     {"custom_min_76.2x127mm", "custom_max_215.9x355.6mm", "tray-1"},
     nullptr,
     false},
    // The nearest, be it larger or smaller; of two the first.
    {"media", "A4", {"om_a_200x297mm", "om_b_211x297mm"}, "om_b_211x297mm", true},
    {"media", "A4", {"om_a_210x280mm", "om_b_210x298mm"}, "om_b_210x298mm", true},
    {"media", "A4", {"om_a_215x302mm", "om_b_209x298mm"}, "om_b_209x298mm", true},
    {"media", "A4", {"om_a_211x297mm", "om_b_211x297mm"}, "om_a_211x297mm", true},
    {"media", "A4", {"iso-a4", "om_sheet_210x297mm"}, "om_sheet_210x297mm", false},
    // A tenth of what is wanted is near, in both directions.
    {"media", "A4", {"om_a_231x326.7mm"}, "om_a_231x326.7mm", true},
    {"media", "A4", {"om_a_189x267.3mm"}, "om_a_189x267.3mm", true},
    {"media", "A4", {"om_a_231.1x297mm"}, nullptr, false},
    {"media", "A4", {"om_a_188.9x297mm"}, nullptr, false},
    {"media", "A4", {"om_a_210x326.8mm"}, nullptr, false},
    {"media", "A4", {"om_a_210x267.2mm"}, nullptr, false},
    {"media", "STS", {"iso_a4_210x297mm"}, nullptr, false},
    {"media", "A4", {"A4"}, nullptr, false},
    {"media", "A4", {}, nullptr, false},
};
INSTANTIATE_TEST_SUITE_P(Media, EveryAttribute, ::testing::ValuesIn(kMediaCases));

const Case kOtherCases[] = {
    {"sides", "two-sided-long-edge", {"one-sided"}, "one-sided", true},
    {"sides", "two-sided-long-edge", {"one-sided", "duplex"}, "duplex", false},
    {"sides", "duplex", {"one-sided", "two-sided-long-edge"}, "two-sided-long-edge", false},
    {"sides", "tumble", {"one-sided", "two-sided-short-edge"}, "two-sided-short-edge", false},
    {"sides", "two-sided-short-edge", {"two-sided-long-edge", "one-sided"}, "one-sided", true},
    {"sides", "one-sided", {"two-sided-long-edge"}, "two-sided-long-edge", true},
    {"sides", "one-sided", {"one-sided"}, nullptr, false},
    {"printer-resolution", "600dpi", {"300dpi", "1200dpi", "2400dpi"}, "1200dpi", false},
    {"printer-resolution", "600dpi", {"1200x600dpi"}, "1200x600dpi", false},
    {"printer-resolution", "600dpi", {"1200x300dpi", "203dpi"}, "1200x300dpi", true},
    {"printer-resolution", "1200dpi", {"300dpi", "600dpi"}, "600dpi", true},
    {"printer-resolution", "300dpi", {"118dpcm", "600dpi"}, "118dpcm", false},
    {"printer-resolution", "118dpcm", {"300dpi"}, "300dpi", false},
    {"printer-resolution", "600dpi", {"600dpi"}, nullptr, false},
    // A hundredth less is what rounding makes; an inch has 2.54 centimetres.
    {"printer-resolution", "600dpi", {"594dpi"}, "594dpi", false},
    {"printer-resolution", "600dpi", {"593dpi"}, "593dpi", true},
    {"printer-resolution", "606dpi", {"236dpcm"}, "236dpcm", true},
    {"printer-resolution", "605dpi", {"236dpcm"}, "236dpcm", false},
    {"printer-resolution", "600dpi", {"1200x600dpi", "600x1200dpi"}, "1200x600dpi", false},
    {"printer-resolution", "600dpi", {"300x150dpi", "150x300dpi"}, "300x150dpi", true},
    {"print-quality", "normal", {"3", "5"}, "high", false},
    {"print-quality", "draft", {"4", "5"}, "normal", false},
    {"print-quality", "high", {"3", "4"}, "normal", true},
    {"print-quality", "normal", {}, nullptr, false},
    {"print-quality", "normal", {"4"}, nullptr, false},
    {"print-quality", "normal", {"best"}, nullptr, false},
    {"finishings", "staple", {"3", "22", "20"}, "staple-top-left", false},
    {"finishings", "staple-top-left", {"3", "4"}, "staple", true},
    {"finishings", "staple-top-left", {"3", "21"}, "staple-bottom-left", true},
    {"finishings", "edge-stitch", {"3", "20", "25"}, "edge-stitch-top", false},
    {"finishings", "staple", {"3", "24"}, "none", true},
    {"finishings", "punch", {"3", "71"}, "71", false},
    {"finishings", "cover", {"3", "4"}, "none", true},
    {"finishings", "none", {"4", "20"}, nullptr, false},
    {"orientation-requested", "landscape", {"3", "5"}, "reverse-landscape", true},
    {"orientation-requested", "reverse-portrait", {"3", "4"}, "portrait", true},
    {"orientation-requested", "landscape", {"3"}, nullptr, false},
    {"orientation-requested", "portrait", {"4", "6"}, "reverse-portrait", true},
    {"orientation-requested", "reverse-landscape", {"4", "6"}, "landscape", true},
    {"number-up", "4", {"1", "2"}, "2", true},
    {"number-up", "9", {"1-4", "6", "16"}, "6", true},
    {"number-up", "1", {"2", "4"}, nullptr, false},
    {"number-up", "4", {"1", "2", "4", "5"}, "2", true},
    {"number-up", "4", {"one", "x-2", "2-x", "99999999999", "-"}, nullptr, false},
    {"copies", "200", {"1-99"}, "99", true},
    {"copies", "2", {"1"}, "1", true},
    {"copies", "200", {}, nullptr, false},
    {"copies", "5", {"7-99"}, nullptr, false},
    {"copies", "5", {"3-1"}, nullptr, false},
    {"copies", "1", {}, nullptr, false},
    {"page-ranges", "1-3", {"false"}, "", true},
    {"job-hold-until", "night", {"no-hold", "indefinite"}, "no-hold", true},
    {"job-hold-until", "no-hold", {"indefinite"}, nullptr, false},
    {"job-sheets", "standard", {"none", "job-start-sheet"}, "job-start-sheet", false},
    {"job-sheets", "standard", {"none", "top-secret"}, "none", true},
    {"job-sheets", "none", {"standard"}, nullptr, false},
    {"multiple-document-handling",
     "separate-documents-uncollated-copies",
     {"separate-documents-collated-copies"},
     "separate-documents-collated-copies",
     false},
    {"multiple-document-handling",
     "single-document",
     {"separate-documents-uncollated-copies", "separate-documents-collated-copies"},
     "separate-documents-collated-copies",
     false},
    {"job-priority", "10", {"1"}, nullptr, false},
};
INSTANTIATE_TEST_SUITE_P(Others, EveryAttribute, ::testing::ValuesIn(kOtherCases));

/// What becomes of a finishing that is refused by a printer that offers this one and none (3).
std::pair<std::uint32_t, bool> finishingFor(std::uint32_t wanted, const Values& offered) {
    Values all = {"3"};
    all.insert(all.end(), offered.begin(), offered.end());
    const UniqueIppMessage printer = offering("finishings", all);
    const IppMessage* const printers[] = {printer.get()};
    const std::string refused[] = {"finishings"};
    JobTemplate job;
    job.finishings = wanted;
    const TemplateFit fit = fitTemplate(job, printers, refused, true);
    EXPECT_EQ(fit.replaced.size(), 1u);
    return {job.finishings, fit.replaced.empty() || fit.replaced.front().loss};
}

TEST(TemplateFit, AFinishingKnowsItsFamily) {
    using ::testing::Pair;
    // PWG 5100.1, 5.1: the place left to the printer, and the first and the last that names it.
    const struct {
        std::uint32_t any, first, last;
    } families[] = {{4, 20, 23}, {4, 28, 35},   {5, 70, 85}, {7, 50, 53},
                    {9, 24, 27}, {10, 90, 101}, {11, 60, 64}};
    for (const auto& [any, first, last] : families) {
        SCOPED_TRACE(any);
        for (std::uint32_t value = first; value <= last; ++value) {
            EXPECT_THAT(finishingFor(any, {std::to_string(value)}), Pair(value, false));
            EXPECT_THAT(finishingFor(value, {std::to_string(any)}), Pair(any, true));
        }
        EXPECT_THAT(finishingFor(first, {std::to_string(last)}), Pair(last, true));
        EXPECT_THAT(finishingFor(last, {std::to_string(first)}), Pair(first, true));
    }
    // The numbers beside a family's are no members of it.
    const std::pair<std::uint32_t, std::uint32_t> strangers[] = {
        {4, 19}, {4, 36}, {4, 24}, {4, 27},  {5, 69},   {5, 86},  {7, 49},
        {7, 54}, {9, 23}, {9, 28}, {10, 89}, {10, 102}, {11, 59}, {11, 65}};
    for (const auto& [any, value] : strangers) {
        EXPECT_THAT(finishingFor(any, {std::to_string(value)}), Pair(3u, true)) << value;
        if (any != 4 && any != 9) {
            EXPECT_THAT(finishingFor(value, {std::to_string(any)}), Pair(3u, true)) << value;
        }
    }
}

TEST(TemplateFit, AStitchAtAnEdgeIsNearerToOneAnywhereThanToAStaple) {
    EXPECT_EQ(finishingFor(24, {"4", "9", "20", "25"}).first, 9u);
    EXPECT_EQ(finishingFor(24, {"4", "20", "25"}).first, 25u);
    EXPECT_EQ(finishingFor(24, {"4", "20"}).first, 4u);
}

TEST(TemplateFit, CopiesOfADamagedRecordStay) {
    const UniqueIppMessage printer = offering("copies", {"1-99"});
    const IppMessage* const printers[] = {printer.get()};
    const std::string refused[] = {"copies"};
    JobTemplate job;
    job.copies = 0;
    EXPECT_THAT(fitTemplate(job, printers, refused, true).replaced, IsEmpty());
    EXPECT_EQ(job.copies, 0u);
}

TEST(TemplateFit, CollatingMattersWithSeveralCopies) {
    const UniqueIppMessage printer =
        offering("multiple-document-handling", {"separate-documents-collated-copies"});
    const IppMessage* const printers[] = {printer.get()};
    const std::string refused[] = {"multiple-document-handling"};
    JobTemplate job;
    job.copies = 2;
    const TemplateFit fit = fitTemplate(job, printers, refused, false);
    EXPECT_THAT(fit.replaced, IsEmpty());
    ASSERT_EQ(fit.stuck.size(), 1u);
    EXPECT_TRUE(fit.stuck.front().loss);
}

TEST(TemplateFit, AValueMustBeOfferedByAllPrinters) {
    const UniqueIppMessage one = offering("media", {"iso-a4", "iso_a4_210x297mm"});
    const UniqueIppMessage two = offering("media", {"iso-a4", "na_letter_8.5x11in"});
    const UniqueIppMessage silent = offering("sides", {"one-sided"});
    const IppMessage* const printers[] = {one.get(), silent.get(), two.get()};
    const std::string refused[] = {"media"};
    JobTemplate job;
    fitTemplate(job, printers, refused, false);
    EXPECT_EQ(job.media, "iso-a4");
}

TEST(TemplateFit, CopiesAreAsManyAsAllPrintersTake) {
    const UniqueIppMessage one = offering("copies", {"1-99"});
    const UniqueIppMessage two = offering("copies", {"1-20", "95-200"});
    const IppMessage* const printers[] = {one.get(), two.get()};
    const std::string refused[] = {"copies"};
    JobTemplate job;
    job.copies = 500;
    fitTemplate(job, printers, refused, true);
    EXPECT_EQ(job.copies, 99u);
}

TEST(TemplateFit, WhatIsNotOfTheTemplateIsStuck) {
    JobTemplate job;
    const std::string refused[] = {"printer-uri", "ipp-attribute-fidelity"};
    const TemplateFit fit = fitTemplate(job, {}, refused, true);
    ASSERT_EQ(fit.stuck.size(), 2u);
    EXPECT_EQ(fit.stuck[0].name, "printer-uri");
    EXPECT_EQ(fit.stuck[1].before, "false");
    EXPECT_EQ(job, JobTemplate());
}

TEST(TemplateFit, GoesOnUntilAllPrintersTakeTheJob) {
    const UniqueIppMessage one = offering("media", {"iso_a4_210x297mm", "iso-a4"});
    const UniqueIppMessage two = offering("print-quality", {"5"});
    const IppMessage* const printers[] = {one.get(), two.get()};
    JobTemplate job;
    int questions = 0;
    const FitOutcome outcome = fitUntilTaken(
        job, printers,
        [&](const JobTemplate& asked) {
            ++questions;
            const bool media = asked.media == "iso_a4_210x297mm";
            // The second one does not say what it refuses, and does so later.
            return std::vector<Verdict>{
                {!media, media ? std::vector<std::string>() : std::vector<std::string>{"media"}},
                {media && asked.printQuality != 5, {}}};
        },
        false);
    EXPECT_TRUE(outcome.taken);
    EXPECT_EQ(job.media, "iso_a4_210x297mm");
    EXPECT_EQ(job.printQuality, 5u);
    EXPECT_EQ(outcome.replaced.size(), 2u);
    EXPECT_THAT(outcome.stuck, IsEmpty());
    EXPECT_EQ(questions, 3);
}

TEST(TemplateFit, WhatIsTakenIsNotLostForABetterOne) {
    const UniqueIppMessage printer = offering("media", {"iso_a4_210x297mm"});
    const IppMessage* const printers[] = {printer.get()};
    JobTemplate job;
    // It ignores the old name, and refuses the one that it offers.
    const FitOutcome outcome = fitUntilTaken(
        job, printers,
        [](const JobTemplate& asked) {
            return std::vector<Verdict>{{asked.media != "A4", {"media"}}};
        },
        false);
    EXPECT_TRUE(outcome.taken);
    EXPECT_EQ(job, JobTemplate());
    EXPECT_THAT(outcome.replaced, IsEmpty());
}

TEST(TemplateFit, AValueThatIsReplacedTwiceIsToldOnce) {
    const UniqueIppMessage printer = offering("media", {"iso_a4_210x297mm", "iso-a4"});
    const IppMessage* const printers[] = {printer.get()};
    JobTemplate job;
    const FitOutcome outcome = fitUntilTaken(
        job, printers,
        [](const JobTemplate& asked) {
            const bool taken = asked.media == "iso-a4";
            return std::vector<Verdict>{
                {!taken, taken ? std::vector<std::string>() : std::vector<std::string>{"media"}}};
        },
        false);
    EXPECT_TRUE(outcome.taken);
    ASSERT_EQ(outcome.replaced.size(), 1u);
    EXPECT_EQ(outcome.replaced.front().before, "A4");
    EXPECT_EQ(outcome.replaced.front().after, "iso-a4");
    EXPECT_EQ(job.media, "iso-a4");
}

/// The one replacement of a medium by a printer that offers the others and takes `taken` alone.
Replacement onlyReplacement(const Values& offered, const std::string& taken) {
    const UniqueIppMessage printer = offering("media", offered);
    const IppMessage* const printers[] = {printer.get()};
    JobTemplate job;
    const FitOutcome outcome = fitUntilTaken(
        job, printers,
        [&](const JobTemplate& asked) {
            return std::vector<Verdict>{{asked.media != taken, {"media"}}};
        },
        true);
    EXPECT_EQ(job.media, taken);
    EXPECT_EQ(outcome.replaced.size(), 1u);
    return outcome.replaced.empty() ? Replacement() : outcome.replaced.front();
}

TEST(TemplateFit, ALossOnTheWayIsALossInTheEnd) {
    // First another name of the sheet, then another sheet; and the other way round.
    EXPECT_TRUE(onlyReplacement({"iso-a4", "na_letter_8.5x11in"}, "na_letter_8.5x11in").loss);
    EXPECT_TRUE(onlyReplacement({"na_letter_8.5x11in", "Letter"}, "Letter").loss);
    EXPECT_FALSE(onlyReplacement({"iso-a4", "iso_a4_210x297mm"}, "iso-a4").loss);
}

TEST(TemplateFit, WhatIsOnlyIgnoredMayStay) {
    const UniqueIppMessage printer = offering("sides", {"one-sided"});
    const IppMessage* const printers[] = {printer.get()};
    JobTemplate job = templateWith("sides", "two-sided-long-edge");
    const FitOutcome outcome = fitUntilTaken(
        job, printers,
        [](const JobTemplate&) {
            return std::vector<Verdict>{{false, {"sides"}}};
        },
        false);
    EXPECT_TRUE(outcome.taken);
    EXPECT_THAT(outcome.replaced, IsEmpty());
    ASSERT_EQ(outcome.stuck.size(), 1u);
    EXPECT_EQ(outcome.stuck.front().after, "one-sided");
    EXPECT_EQ(job.sides, "two-sided-long-edge");
}

TEST(TemplateFit, APrinterThatRefusesEverythingEndsIt) {
    const UniqueIppMessage printer = offering("media", {"iso_a4_210x297mm", "iso-a4", "A4"});
    const IppMessage* const printers[] = {printer.get()};
    JobTemplate job;
    int questions = 0;
    const FitOutcome outcome = fitUntilTaken(
        job, printers,
        [&](const JobTemplate&) {
            ++questions;
            return std::vector<Verdict>{{true, {"media"}}};
        },
        true);
    EXPECT_FALSE(outcome.taken);
    EXPECT_LE(questions, 4);
    // Told as it is in the end, and that nothing has helped.
    ASSERT_EQ(outcome.stuck.size(), 1u);
    EXPECT_EQ(outcome.stuck.front().name, "media");
    EXPECT_EQ(outcome.stuck.front().before, job.media);
    EXPECT_EQ(outcome.stuck.front().after, std::nullopt);
    EXPECT_FALSE(outcome.stuck.front().loss);
}

TEST(TemplateFit, TheListsOfAPrinterTellWhatItWouldRefuse) {
    const UniqueIppMessage printer = offering("media", {"iso_a4_210x297mm"});
    EXPECT_THAT(notOffered(JobTemplate(), *printer), ElementsAre("media"));
    const UniqueIppMessage ranges = offering("page-ranges", {"false"});
    EXPECT_THAT(notOffered(JobTemplate(), *ranges), IsEmpty());
    EXPECT_THAT(notOffered(templateWith("page-ranges", "2"), *ranges), ElementsAre("page-ranges"));
    const UniqueIppMessage copies = offering("copies", {"1-99"});
    EXPECT_THAT(notOffered(templateWith("copies", "99"), *copies), IsEmpty());
    EXPECT_THAT(notOffered(templateWith("copies", "100"), *copies), ElementsAre("copies"));
    const UniqueIppMessage several = offering("copies", {"5-9", "many", "12", "20-x"});
    for (const char* listed : {"5", "9", "12"})
        EXPECT_THAT(notOffered(templateWith("copies", listed), *several), IsEmpty()) << listed;
    for (const char* missing : {"4", "10", "13", "20"}) {
        EXPECT_THAT(notOffered(templateWith("copies", missing), *several), ElementsAre("copies"))
            << missing;
    }
    const UniqueIppMessage plain = offering("media", {"iso_a4_210x297mm", "A4"});
    EXPECT_THAT(notOffered(JobTemplate(), *plain), IsEmpty());
}

TEST(MediaSize, NamesTellTheirSizes) {
    const struct {
        const char* name;
        MediaSize size;
    } cases[] = {
        {"iso_a4_210x297mm", {21000, 29700}},
        {"na_letter_8.5x11in", {21590, 27940}},
        {"na_number-10_4.125x9.5in", {10478, 24130}},
        {"custom_label_50.8x25.4mm", {5080, 2540}},
        {"om_small-photo_100x150mm", {10000, 15000}},
        {"A4", {21000, 29700}},
        {"iso-a4-white", {21000, 29700}},
        {"DL Env.", {11000, 22000}},
        {"NA-LETTER", {21590, 27940}},
    };
    for (const auto& one : cases)
        EXPECT_EQ(mediaSizeOf(one.name), one.size) << one.name;
}

TEST(MediaSize, NamesWithoutASizeHaveTheOneOfTheirStandard) {
    // The standard's own name (PWG 5101.1), and other names of the same sheet.
    const std::pair<const char*, Values> sheets[] = {
        {"na_letter_8.5x11in", {"letter", "na-letter", "na-letter-white"}},
        {"na_legal_8.5x14in", {"legal", "na-legal"}},
        {"na_executive_7.25x10.5in", {"executive"}},
        {"na_foolscap_8.5x13in", {"folio"}},
        {"na_ledger_11x17in", {"tabloid"}},
        {"na_invoice_5.5x8.5in", {"invoice", "statement"}},
        {"iso_a3_297x420mm", {"iso-a3", "a3"}},
        {"iso_a4_210x297mm", {"iso-a4", "a4"}},
        {"iso_a5_148x210mm", {"iso-a5", "a5"}},
        {"iso_a6_105x148mm", {"iso-a6", "a6", "post a6"}},
        {"iso_b4_250x353mm", {"iso-b4"}},
        {"iso_b5_176x250mm", {"iso-b5", "iso b5", "isob5"}},
        {"jis_b4_257x364mm", {"jis-b4"}},
        {"jis_b5_182x257mm", {"jis-b5", "jis b5"}},
        {"iso_c5_162x229mm", {"iso-c5", "c5 env.", "envc5"}},
        {"iso_c6_114x162mm", {"iso-c6", "c6", "envc6"}},
        {"iso_dl_110x220mm", {"iso-designated-long", "dl env.", "envdl"}},
        {"na_number-10_4.125x9.5in", {"com 10 env.", "na-number-10-envelope", "env10"}},
        {"na_monarch_3.875x7.5in", {"monarch env.", "monarch-envelope", "envmonarch"}},
    };
    for (const auto& [standard, others] : sheets) {
        ASSERT_TRUE(mediaSizeOf(standard)) << standard;
        for (const std::string& name : others)
            EXPECT_EQ(mediaSizeOf(name), mediaSizeOf(standard)) << name;
    }
}

TEST(MediaSize, LengthsHaveTheirBounds) {
    EXPECT_EQ(mediaSizeOf("a_b_1x2mm"), (MediaSize{100, 200}));
    EXPECT_EQ(mediaSizeOf("a_b_0.01x0.005mm"), (MediaSize{1, 1})) << "rounded";
    EXPECT_EQ(mediaSizeOf("a_b_0.004x1mm"), std::nullopt);
    EXPECT_EQ(mediaSizeOf("a_b_100000x1mm"), (MediaSize{10'000'000, 100})) << "a hundred metres";
    EXPECT_EQ(mediaSizeOf("a_b_100000.01x1mm"), std::nullopt);
    EXPECT_EQ(mediaSizeOf("a_b_1.00000000x1mm"), (MediaSize{100, 100}));
    EXPECT_EQ(mediaSizeOf("a_b_1.000000000x1mm"), std::nullopt) << "ten digits";
    EXPECT_EQ(mediaSizeOf("a_b_.x1mm"), std::nullopt);
    EXPECT_EQ(mediaSizeOf("a_b_5mm"), std::nullopt);
}

TEST(MediaSize, NothingAfterTheEndOfANameIsRead) {
    // Digits and units that belong to the next name.
    const std::string_view names = "__x210x297mm";
    EXPECT_EQ(mediaSizeOf(names.substr(0, 3)), std::nullopt);
    const std::vector<char> last = {'_', '_', 'x'};
    EXPECT_EQ(mediaSizeOf({last.data(), last.size()}), std::nullopt);
}

TEST(MediaSize, OtherNamesTellNone) {
    for (const char* name : {"",
                             "_",
                             "__",
                             "__x",
                             "a_b_xmm",
                             "a_b_1xmm",
                             "a_b_x1mm",
                             "a_b_1x1",
                             "a_b_1x1pt",
                             "a_b_0x1mm",
                             "a_b_1.2.3x4mm",
                             "a_b_-1x4mm",
                             "a_b_1e9x4mm",
                             "a_b_9999999999x4mm",
                             "custom_min_10x10mm",
                             "custom_max_10x10mm",
                             "tray-1",
                             "Custom Paper Size",
                             "STS",
                             "iso-a4-transparent",
                             "a_b_1x1in_x"})
        EXPECT_EQ(mediaSizeOf(name), std::nullopt) << name;
}

TEST(MediaSize, HalfAMillimetreIsTheSameSheet) {
    EXPECT_TRUE(sameSheet({21000, 29700}, {21050, 29650}));
    EXPECT_FALSE(sameSheet({21000, 29700}, {21051, 29700}));
    EXPECT_FALSE(sameSheet({21000, 29700}, {21000, 29649}));
    EXPECT_FALSE(sameSheet({21000, 29700}, {29700, 21000}));
}

}  // namespace
}  // namespace velmora::ctl
