#include "velmoractl/text/template_attributes.h"
#include "ipp/job_template.h"

#include <gtest/gtest.h>

namespace velmora::ctl {
namespace {

TEST(TemplateAttributes, AreFourteenInTheOrderOfTheRecord) {
    std::vector<std::string> names;
    for (const TemplateAttribute& one : templateAttributes())
        names.push_back(one.name);
    const std::vector<std::string> expected = {"job-priority",
                                               "job-hold-until",
                                               "copies",
                                               "printer-resolution",
                                               "print-quality",
                                               "page-ranges",
                                               "media",
                                               "orientation-requested",
                                               "number-up",
                                               "sides",
                                               "multiple-document-handling",
                                               "finishings",
                                               "job-sheets",
                                               "ipp-attribute-fidelity"};
    EXPECT_EQ(names, expected);
}

TEST(TemplateAttributes, WhatIsReadCanBeSetAndGivesTheSameRecord) {
    JobTemplate job;
    job.jobPriority = 100;
    job.printerResolution = {1200, 300, 4};
    job.printQuality = 7;
    job.orientationRequested = 6;
    job.finishings = 94;
    job.pageRanges = "1-3, 7";
    job.media = "Custom roll";
    job.numberUp = 16;
    job.ippAttributeFidelity = 1;
    JobTemplate copy;
    for (const TemplateAttribute& one : templateAttributes()) {
        EXPECT_TRUE(one.set(copy, one.get(job))) << one.name;
    }
    EXPECT_EQ(copy, job);
}

struct Value {
    const char* attribute;
    std::string text;
    bool taken;
};

TEST(TemplateAttributes, TakeWhatIsAllowedAndNothingElse) {
    const Value values[] = {
        {"job-priority", "1", true},
        {"job-priority", "0", false},
        {"job-priority", "101", false},
        {"job-priority", "+5", false},
        {"job-priority", " 5", false},
        {"job-priority", "99999999999", false},
        {"job-hold-until", "third-shift", true},
        {"job-hold-until", "tomorrow", false},
        {"copies", "2147483647", true},
        {"copies", "2147483648", false},
        {"copies", "-1", false},
        {"printer-resolution", "600", true},
        {"printer-resolution", "1200x600dpi", true},
        {"printer-resolution", "118dpcm", true},
        {"printer-resolution", "1dpi", true},
        {"printer-resolution", "2x1dpi", true},
        {"printer-resolution", "2x0dpi", false},
        {"printer-resolution", "x600dpi", false},
        {"printer-resolution", "600x", false},
        {"printer-resolution", "600x600x600", false},
        {"printer-resolution", "0dpi", false},
        {"printer-resolution", "dpi", false},
        {"print-quality", "draft", true},
        {"print-quality", "5", true},
        {"print-quality", "0", false},
        {"print-quality", "5 ", false},
        {"print-quality", "Draft", false},
        {"page-ranges", "", true},
        {"page-ranges", "1,3,5-12", true},
        {"page-ranges", "5-", false},
        {"media", "A4", true},
        {"media", "na_letter_8.5x11in", true},
        {"media", "", false},
        {"media", "A\n4", false},
        {"media", "A\x1F", false},
        {"media", "A\x7F", false},
        {"media", "A\x80", true},
        {"media", std::string(1023, 'm'), true},
        {"media", std::string(1024, 'm'), false},
        {"orientation-requested", "reverse-portrait", true},
        {"orientation-requested", "sideways", false},
        {"number-up", "16", true},
        {"number-up", "0", false},
        {"sides", "two-sided-short-edge", true},
        {"sides", "duplex", false},
        {"sides", "both", false},
        {"multiple-document-handling", "single-document-new-sheet", true},
        {"multiple-document-handling", "", false},
        {"finishings", "staple-dual-bottom", true},
        {"finishings", "31", true},
        {"finishings", "glue", false},
        {"job-sheets", "standard", true},
        {"job-sheets", "all", false},
        {"ipp-attribute-fidelity", "true", true},
        {"ipp-attribute-fidelity", "1", false},
    };
    for (const Value& value : values) {
        const TemplateAttribute* const attribute = findTemplateAttribute(value.attribute);
        ASSERT_NE(attribute, nullptr) << value.attribute;
        JobTemplate job;
        EXPECT_EQ(attribute->set(job, value.text), value.taken)
            << value.attribute << " " << value.text;
        if (!value.taken) {
            EXPECT_EQ(job, JobTemplate()) << value.attribute;
        }
    }
}

TEST(TemplateAttributes, ResolutionsAreReadWithTheirUnits) {
    struct Case {
        const char* text;
        JobTemplate::Resolution value;
        const char* shown;
    };
    const Case cases[] = {{"600", {600, 600, 3}, "600dpi"},
                          {"601dpi", {601, 601, 3}, "601dpi"},
                          {"118dpcm", {118, 118, 4}, "118dpcm"},
                          {"1x1dpi", {1, 1, 3}, "1dpi"},
                          {"1200x601dpi", {1200, 601, 3}, "1200x601dpi"},
                          {"9x8dpcm", {9, 8, 4}, "9x8dpcm"}};
    for (const Case& one : cases) {
        JobTemplate job;
        const TemplateAttribute& resolution = *findTemplateAttribute("printer-resolution");
        ASSERT_TRUE(resolution.set(job, one.text)) << one.text;
        EXPECT_EQ(job.printerResolution, one.value) << one.text;
        EXPECT_EQ(resolution.get(job), one.shown);
    }
}

TEST(TemplateAttributes, SayWhatTheyTake) {
    const auto choices = [](const char* name) { return findTemplateAttribute(name)->allowed(); };
    EXPECT_EQ(choices("print-quality"), "draft, normal, high, or the number of another value");
    EXPECT_EQ(choices("job-sheets"), "none, standard");
    EXPECT_EQ(choices("copies"), "a number from 1 to 2147483647");
}

TEST(TemplateAttributes, KeywordsOfAPrintersOwnCanBeForced) {
    JobTemplate job;
    const TemplateAttribute& sides = *findTemplateAttribute("sides");
    EXPECT_TRUE(sides.force(job, "duplex"));
    EXPECT_EQ(job.sides, "duplex");
    for (const std::string& bad : {std::string(), std::string("a\nb"), std::string(1024, 'x')})
        EXPECT_FALSE(sides.force(job, bad)) << bad;
    EXPECT_EQ(job.sides, "duplex");
    EXPECT_EQ(findTemplateAttribute("copies")->force, nullptr);
}

TEST(TemplateAttributes, TellWhatIsAllowed) {
    EXPECT_EQ(findTemplateAttribute("print-quality")->allowed(),
              "draft, normal, high, or the number of another value");
    EXPECT_EQ(findTemplateAttribute("sides")->allowed(),
              "one-sided, two-sided-long-edge, two-sided-short-edge");
    EXPECT_EQ(findTemplateAttribute("copies")->allowed(), "a number from 1 to 2147483647");
    for (const TemplateAttribute& one : templateAttributes())
        EXPECT_NE(one.allowed(), "") << one.name;
}

TEST(TemplateAttributes, AnUnknownNameIsNone) {
    EXPECT_EQ(findTemplateAttribute("job-colour"), nullptr);
}

}  // namespace
}  // namespace velmora::ctl
