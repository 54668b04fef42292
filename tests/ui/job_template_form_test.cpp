#include "ui/job_template_form.h"
#include "ipp/job_template.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "ipp/job_template_choices.h"

namespace velmora {
namespace {

std::vector<std::string> texts(std::span<const char* const> choices) {
    return {choices.begin(), choices.end()};
}

using Numbers = std::vector<std::pair<std::string, std::uint32_t>>;

Numbers numbers(std::span<const NumberChoice> choices) {
    Numbers list;
    for (const NumberChoice& choice : choices)
        list.emplace_back(choice.text, choice.value);
    return list;
}

TEST(JobTemplateChoices, KeywordListsHoldTheirItemsInOrder) {
    EXPECT_EQ(texts(holdUntilChoices()),
              (std::vector<std::string>{"no-hold", "indefinite", "day-time", "evening", "night",
                                        "weekend", "second-shift", "third-shift"}));
    EXPECT_EQ(
        texts(sidesChoices()),
        (std::vector<std::string>{"one-sided", "two-sided-long-edge", "duplex", "head-to-head",
                                  "two-sided-short-edge", "tumble", "head-to-toe"}));
    EXPECT_EQ(
        texts(mediaChoices()),
        (std::vector<std::string>{"Letter", "Legal", "Executive", "Folio", "A4", "JIS B5", "ISO B5",
                                  "A5", "Com 10 Env.", "Monarch Env.", "DL Env.",
                                  "Custom Paper Size", "C5 Env.", "Post A6", "C6", "STS", "A6"}));
}

TEST(JobTemplateChoices, NumberListsHoldTheirItemsAndValuesInOrder) {
    EXPECT_EQ(numbers(resolutionChoices()),
              (Numbers{{"300 dpi", 300}, {"600 dpi", 600}, {"1200 dpi", 1200}}));
    EXPECT_EQ(numbers(finishingsChoices()), (Numbers{{"none", 3},
                                                     {"staple", 4},
                                                     {"punch", 5},
                                                     {"cover", 6},
                                                     {"bind", 7},
                                                     {"saddle-stitch", 8},
                                                     {"edge-stitch", 9},
                                                     {"staple-top-left", 20},
                                                     {"staple-bottom-left", 21},
                                                     {"staple-top-right", 22},
                                                     {"staple-bottom-right", 23},
                                                     {"edge-stitch-left", 24},
                                                     {"edge-stitch-top", 25},
                                                     {"edge-stitch-right", 26},
                                                     {"edge-stitch-bottom", 27},
                                                     {"staple-dual-left", 28},
                                                     {"staple-dual-top", 29},
                                                     {"staple-dual-right", 30},
                                                     {"staple-dual-bottom", 31}}));
    EXPECT_EQ(numbers(numberUpChoices()), (Numbers{{"1", 1}, {"2", 2}, {"4", 4}}));
}

TEST(JobTemplateForm, DefaultRecordSelectsSomethingEverywhere) {
    JobTemplateForm expected;
    expected.priority = 10;
    expected.copies = 1;
    expected.pageRangeIndex = JobTemplateForm::kAllPages;
    expected.qualityIndex = 1;
    expected.orientationIndex = 0;
    expected.holdUntil = 0;
    expected.resolution = 1;
    expected.sides = 0;
    expected.finishings = 0;
    expected.media = 4;
    expected.numberUp = 0;
    EXPECT_EQ(formOf(JobTemplate()), expected);
}

TEST(JobTemplateForm, ShowsEveryValueOfTheRecord) {
    JobTemplate record;
    record.jobPriority = 77;
    record.jobHoldUntil = "third-shift";
    record.copies = 2147483647;
    record.printerResolution = {1200, 1200, 3};
    record.printQuality = 5;
    record.pageRanges = "1,3,5-12";
    record.media = "A6";
    record.orientationRequested = 6;
    record.numberUp = 4;
    record.sides = "head-to-toe";
    record.finishings = 31;
    record.jobSheets = "standard";
    record.ippAttributeFidelity = 7;
    JobTemplateForm expected;
    expected.priority = 77;
    expected.copies = kMaxCopies;
    expected.pageRanges = "1,3,5-12";
    expected.pageRangeIndex = JobTemplateForm::kSomePages;
    expected.qualityIndex = 2;
    expected.orientationIndex = 3;
    expected.jobSheet = 1;
    expected.fidelity = 1;
    expected.holdUntil = 7;
    expected.resolution = 2;
    expected.sides = 6;
    expected.finishings = 18;
    expected.media = 16;
    expected.numberUp = 2;
    EXPECT_EQ(formOf(record), expected);
}

TEST(JobTemplateForm, EveryListItemComesBackAsItIs) {
    const auto roundTrip = [](const JobTemplate& record) {
        JobTemplate stored = record;
        store(formOf(record), stored);
        EXPECT_EQ(stored, record);
    };
    JobTemplate record;
    for (const char* keyword : holdUntilChoices())
        record.jobHoldUntil = keyword, roundTrip(record);
    for (const char* keyword : sidesChoices())
        record.sides = keyword, roundTrip(record);
    for (const char* name : mediaChoices())
        record.media = name, roundTrip(record);
    for (const NumberChoice& choice : resolutionChoices())
        record.printerResolution = {choice.value, choice.value, 3}, roundTrip(record);
    for (const NumberChoice& choice : finishingsChoices())
        record.finishings = choice.value, roundTrip(record);
    for (const NumberChoice& choice : numberUpChoices())
        record.numberUp = choice.value, roundTrip(record);
    for (const std::uint32_t quality : {3, 4, 5})
        record.printQuality = quality, roundTrip(record);
    for (const std::uint32_t orientation : {3, 4, 5, 6})
        record.orientationRequested = orientation, roundTrip(record);
    for (const std::uint8_t fidelity : {1, 0})
        record.ippAttributeFidelity = fidelity, roundTrip(record);
}

TEST(JobTemplateForm, SelectedItemsAreStoredAsTheirValues) {
    JobTemplateForm form = formOf(JobTemplate());
    form.priority = 100;
    form.copies = kMaxCopies;
    form.holdUntil = 7;
    form.resolution = 2;
    form.qualityIndex = 2;
    form.sides = 6;
    form.finishings = 18;
    form.media = 16;
    form.orientationIndex = 3;
    form.numberUp = 2;
    form.jobSheet = 1;
    form.fidelity = 1;
    form.pageRangeIndex = JobTemplateForm::kSomePages;
    form.pageRanges = "1,3,5-12";
    JobTemplate record;
    store(form, record);
    EXPECT_EQ(record.jobPriority, 100u);
    EXPECT_EQ(record.copies, 2147483647u);
    EXPECT_EQ(record.jobHoldUntil, "third-shift");
    EXPECT_EQ(record.printerResolution, (JobTemplate::Resolution{1200, 1200, 3}));
    EXPECT_EQ(record.printQuality, 5u);
    EXPECT_EQ(record.sides, "head-to-toe");
    EXPECT_EQ(record.finishings, 31u);
    EXPECT_EQ(record.media, "A6");
    EXPECT_EQ(record.orientationRequested, 6u);
    EXPECT_EQ(record.numberUp, 4u);
    EXPECT_EQ(record.jobSheets, "standard");
    EXPECT_EQ(record.ippAttributeFidelity, 1);
    EXPECT_EQ(record.pageRanges, "1,3,5-12");
    EXPECT_EQ(record.multipleDocumentHandling, JobTemplate().multipleDocumentHandling);
}

TEST(JobTemplateForm, FirstItemsAreStoredAsTheirValues) {
    JobTemplateForm form = formOf(JobTemplate());
    form.holdUntil = form.sides = form.media = form.resolution = form.finishings = form.numberUp =
        form.qualityIndex = form.orientationIndex = 0;
    JobTemplate record;
    record.jobHoldUntil = record.sides = record.media = "other";
    record.printerResolution = {1, 2, 4};
    record.finishings = record.numberUp = record.printQuality = record.orientationRequested = 99;
    store(form, record);
    JobTemplate expected;
    expected.printerResolution = {300, 300, 3};
    expected.printQuality = 3;
    expected.media = "Letter";
    EXPECT_EQ(record, expected);
}

struct Unlisted {
    const char* what;
    std::function<void(JobTemplate&)> set;
    int JobTemplateForm::*selection;
};

TEST(JobTemplateForm, ValuesThatNoControlShowsSurvive) {
    const Unlisted cases[] = {
        {"keyword", [](JobTemplate& r) { r.jobHoldUntil = "lunch"; }, &JobTemplateForm::holdUntil},
        {"keyword in capitals", [](JobTemplate& r) { r.jobHoldUntil = "No-Hold"; },
         &JobTemplateForm::holdUntil},
        {"empty keyword", [](JobTemplate& r) { r.jobHoldUntil.clear(); },
         &JobTemplateForm::holdUntil},
        {"sides", [](JobTemplate& r) { r.sides = "both"; }, &JobTemplateForm::sides},
        {"media", [](JobTemplate& r) { r.media = "a4"; }, &JobTemplateForm::media},
        {"media, longer", [](JobTemplate& r) { r.media = "A4 "; }, &JobTemplateForm::media},
        {"resolution",
         [](JobTemplate& r) {
             r.printerResolution = {720, 720, 3};
         },
         &JobTemplateForm::resolution},
        {"uneven resolution",
         [](JobTemplate& r) {
             r.printerResolution = {600, 300, 3};
         },
         &JobTemplateForm::resolution},
        {"dots per centimetre",
         [](JobTemplate& r) {
             r.printerResolution = {600, 600, 4};
         },
         &JobTemplateForm::resolution},
        {"quality below", [](JobTemplate& r) { r.printQuality = 2; },
         &JobTemplateForm::qualityIndex},
        {"quality above", [](JobTemplate& r) { r.printQuality = 6; },
         &JobTemplateForm::qualityIndex},
        {"orientation below", [](JobTemplate& r) { r.orientationRequested = 2; },
         &JobTemplateForm::orientationIndex},
        {"orientation above", [](JobTemplate& r) { r.orientationRequested = 7; },
         &JobTemplateForm::orientationIndex},
        {"orientation far above", [](JobTemplate& r) { r.orientationRequested = 0xFFFFFFFF; },
         &JobTemplateForm::orientationIndex},
        {"finishings", [](JobTemplate& r) { r.finishings = 10; }, &JobTemplateForm::finishings},
        {"number up", [](JobTemplate& r) { r.numberUp = 9; }, &JobTemplateForm::numberUp},
    };
    for (const Unlisted& unlisted : cases) {
        SCOPED_TRACE(unlisted.what);
        JobTemplate record;
        unlisted.set(record);
        const JobTemplateForm form = formOf(record);
        EXPECT_EQ(form.*unlisted.selection, -1);
        JobTemplate stored = record;
        store(form, stored);
        EXPECT_EQ(stored, record);
    }
}

TEST(JobTemplateForm, SelectionsOutsideTheListsChangeNothing) {
    JobTemplateForm afterTheLast;
    afterTheLast.holdUntil = static_cast<int>(holdUntilChoices().size());
    afterTheLast.resolution = static_cast<int>(resolutionChoices().size());
    afterTheLast.sides = static_cast<int>(sidesChoices().size());
    afterTheLast.finishings = static_cast<int>(finishingsChoices().size());
    afterTheLast.media = static_cast<int>(mediaChoices().size());
    afterTheLast.numberUp = static_cast<int>(numberUpChoices().size());
    afterTheLast.qualityIndex = 3;
    afterTheLast.orientationIndex = 4;
    JobTemplateForm farAbove;
    farAbove.holdUntil = farAbove.sides = farAbove.media = farAbove.resolution =
        farAbove.finishings = farAbove.numberUp = farAbove.qualityIndex =
            farAbove.orientationIndex = 1000;
    for (JobTemplateForm form : {JobTemplateForm(), afterTheLast, farAbove}) {
        form.priority = 10;
        form.copies = 1;
        JobTemplate record;
        store(form, record);
        EXPECT_EQ(record, JobTemplate());
    }
}

TEST(JobTemplateForm, JobSheetsOtherThanStandardBecomeNone) {
    for (const char* keyword : {"none", "Standard", "confidential", ""}) {
        JobTemplate record;
        record.jobSheets = keyword;
        const JobTemplateForm form = formOf(record);
        EXPECT_EQ(form.jobSheet, 0) << keyword;
        store(form, record);
        EXPECT_EQ(record.jobSheets, "none") << keyword;
    }
}

TEST(JobTemplateForm, AllPagesDropsTheRangesAndNeedsNoCheck) {
    JobTemplate record;
    record.pageRanges = "5-2";
    JobTemplateForm form = formOf(record);
    EXPECT_EQ(form.pageRangeIndex, JobTemplateForm::kSomePages);
    EXPECT_TRUE(needsPageRangeCheck(form));
    form.pageRangeIndex = JobTemplateForm::kAllPages;
    EXPECT_FALSE(needsPageRangeCheck(form));
    store(form, record);
    EXPECT_EQ(record.pageRanges, "");
}

}  // namespace
}  // namespace velmora
