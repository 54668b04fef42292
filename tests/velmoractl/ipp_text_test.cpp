#include "velmoractl/text/ipp_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velmora::ctl {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

UniqueIppMessage message() {
    UniqueIppMessage result = newIppMessage();
    addIppAttribute(*result, IppGroup::printer, 0,
                    newResolutionAttribute(
                        ippName("printer-resolution-supported"),
                        std::vector<IppResolution>{{600, 600, 3}, {1200, 600, 3}, {118, 118, 4}}));
    addIppAttribute(*result, IppGroup::printer, 0,
                    newRangeAttribute(ippName("copies-supported"), std::vector<IppRange>{{1, 99}}));
    // A name that the table lacks precedes the values.
    const char* const vendor[] = {"vendor-trays", "upper", "lower"};
    addIppAttribute(*result, IppGroup::printer, 0, newKeywordAttribute(-1, vendor));
    addIppAttribute(*result, IppGroup::job, 1, newIntegerAttribute(ippName("job-id"), 7));
    return result;
}

TEST(IppText, ValuesAreWrittenAsPeopleWriteThem) {
    const UniqueIppMessage answer = message();
    EXPECT_THAT(valuesOf(*answer, IppGroup::printer, "printer-resolution-supported"),
                ElementsAre("600dpi", "1200x600dpi", "118dpcm"));
    EXPECT_EQ(valueOf(*answer, IppGroup::printer, "copies-supported"), "1-99");
}

TEST(IppText, AttributesOfUnknownNamesAreFound) {
    EXPECT_THAT(valuesOf(*message(), IppGroup::printer, "vendor-trays"),
                ElementsAre("upper", "lower"));
}

TEST(IppText, TheFirstNameOfTheTableIsAName) {
    ASSERT_EQ(ippName("attributes-charset"), 0);
    const char* const charset[] = {"utf-8"};
    const UniqueIppAttribute attribute = newKeywordAttribute(0, charset);
    EXPECT_EQ(attributeName(*attribute), "attributes-charset");
}

TEST(IppText, AnAttributeIsLookedForInItsGroupAndInstance) {
    const UniqueIppMessage answer = message();
    EXPECT_EQ(valueOf(*answer, IppGroup::job, "job-id", 1), "7");
    EXPECT_THAT(valuesOf(*answer, IppGroup::job, "job-id", 0), IsEmpty());
    EXPECT_EQ(valueOf(*answer, IppGroup::printer, "job-id", 1), "");
}

TEST(IppText, EnumeratedValuesHaveNames) {
    EXPECT_EQ(enumText("printer-state", "5"), "stopped (5)");
    EXPECT_EQ(enumText("finishings-supported", "20"), "staple-top-left (20)");
    EXPECT_EQ(enumText("print-quality", "77"), "77");
    EXPECT_EQ(enumText("media", "3"), "3");
}

TEST(IppText, LongListsAreCutAndHostileValuesEscaped) {
    const std::string many = shownValues(std::vector<std::string>(1000, "x"));
    EXPECT_LT(many.size(), 200U);
    EXPECT_TRUE(many.ends_with(" and 976 more"));
    EXPECT_EQ(shownValues({"a\x1b[2J"}), "a\\x1b[2J");
    EXPECT_LT(shownValues({std::string(100000, 'x')}).size(), 200U);
}

TEST(IppText, ADescriptionShowsEachValueEscapedOnce) {
    UniqueIppMessage answer = newIppMessage();
    addIppAttribute(*answer, IppGroup::printer, 0, newEnumAttribute(ippName("printer-state"), 3));
    addIppAttribute(*answer, IppGroup::printer, 0,
                    newNameAttribute(ippName("printer-name"), "\\\\server\\Office (old)"));
    addIppAttribute(
        *answer, IppGroup::printer, 0,
        newKeywordAttribute(ippName("media-supported"), std::span<const char* const>()));
    addIppAttribute(*answer, IppGroup::job, 0, newNameAttribute(ippName("printer-info"), "no"));
    std::vector<std::string> lines;
    for (const ShownAttribute& one : printerDescription(*answer))
        lines.push_back(std::string(one.name) + ": " + one.values);
    EXPECT_THAT(
        lines, ElementsAre(R"(printer-name: \\\\server\\Office (old))", "printer-state: idle (3)"));
}

TEST(IppText, StatusCodesHaveNames) {
    EXPECT_EQ(statusText(0x040B), "client-error-attributes-or-values-not-supported (0x040b)");
    EXPECT_EQ(statusText(0x9999), "status 0x9999");
}

}  // namespace
}  // namespace velmora::ctl
