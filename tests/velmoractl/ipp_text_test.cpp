#include "velmoractl/text/ipp_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

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

TEST(IppText, StatesHaveTheirNames) {
    const char* const printer[] = {"idle", "processing", "stopped"};
    const char* const job[] = {"pending",  "pending-held", "processing", "processing-stopped",
                               "canceled", "aborted",      "completed"};
    int number = 3;
    for (const char* const name : printer)
        EXPECT_EQ(enumKeyword("printer-state", std::to_string(number++)), name);
    EXPECT_EQ(enumKeyword("printer-state", "6"), "6");
    number = 3;
    for (const char* const name : job) {
        EXPECT_EQ(enumKeyword("job-state", std::to_string(number)), name);
        EXPECT_EQ(enumText("job-state", std::to_string(number)),
                  name + (" (" + std::to_string(number) + ")"));
        ++number;
    }
    EXPECT_EQ(enumKeyword("job-state", "10"), "10");
    EXPECT_EQ(enumKeyword("print-quality-supported", "5"), "high");
    EXPECT_EQ(enumKeyword("orientation-requested", "4"), "landscape");
}

IppValue valueOfKind(IppValueKind kind) {
    IppValue value{};
    value.kind = kind;
    return value;
}

TEST(IppText, EveryKindHasAText) {
    std::vector<IppValue> values;
    const auto with = [&](IppValueKind kind) -> IppValue& {
        return values.emplace_back(valueOfKind(kind));
    };
    with(IppValueKind::integer).number = -7;
    with(IppValueKind::enumeration).number = 9;
    with(IppValueKind::boolean).number = 1;
    with(IppValueKind::boolean).number = 0;
    with(IppValueKind::rangeOfInteger).range = {1, 99};
    with(IppValueKind::resolution).resolution = {600, 300, 3};
    with(IppValueKind::dateTime).dateTime = {2026, 1, 2, 3, 4, 5, 6, '+', 1, 0};
    with(IppValueKind::unsupported);
    with(IppValueKind::unknown);
    with(IppValueKind::noValue);
    with(IppValueKind::rawOctets).raw = {3, 0x4A, "a\0b"};
    with(IppValueKind::keyword).text = {4, "draw"};
    with(IppValueKind::textWithLanguage).languageText = {2, "de\0Halt"};
    const UniqueIppAttribute attribute = newIppAttribute(ippName("media-supported"), values);
    ASSERT_NE(attribute, nullptr);
    EXPECT_THAT(attributeValues(*attribute),
                ElementsAre("-7", "9", "true", "false", "1-99", "600x300dpi", "2026-01-02 03:04:05",
                            "unsupported", "unknown", "no value", "(3 bytes of type 0x4a)", "draw",
                            "Halt"));
    EXPECT_EQ(jsonValues(*attribute).dump(),
              R"([-7,9,true,false,"1-99","600x300dpi","2026-01-02 03:04:05","unsupported",)"
              R"x("unknown","no value","(3 bytes of type 0x4a)","draw","Halt"])x");
}

TEST(IppText, ScriptsGetNumbersAndTheirNames) {
    const std::int32_t states[] = {3, 77};
    EXPECT_EQ(jsonValues(*newEnumAttribute(ippName("printer-state"), states)).dump(),
              R"([{"value":3,"keyword":"idle"},77])");
    const char* const vendor[] = {"vendor-trays", "upper", "lower"};
    EXPECT_EQ(jsonValues(*newKeywordAttribute(-1, vendor)).dump(), R"(["upper","lower"])");
    const char* const charset[] = {"utf-8"};
    EXPECT_EQ(jsonValues(*newKeywordAttribute(0, charset)).dump(), R"(["utf-8"])");
    EXPECT_THAT(attributeValues(*newKeywordAttribute(0, charset)), ElementsAre("utf-8"));
    EXPECT_EQ(jsonValues(*newKeywordAttribute(-1, std::span<const char* const>())).dump(), "[]");
    EXPECT_EQ(numberOrNull("0").dump(), "0");
    EXPECT_EQ(numberOrNull("-5").dump(), "-5");
    for (const char* text : {"", "x", "5x", "99999999999999999999"})
        EXPECT_TRUE(numberOrNull(text).is_null()) << text;
}

TEST(IppText, LongListsAreCutAndHostileValuesEscaped) {
    const std::string many = shownValues(std::vector<std::string>(1000, "x"));
    EXPECT_LT(many.size(), 200U);
    EXPECT_TRUE(many.ends_with(" and 976 more"));
    EXPECT_EQ(shownValues({"a\x1b[2J"}), "a\\x1b[2J");
    EXPECT_EQ(shownValues({}), "");
    EXPECT_EQ(shownValues({"", "b", ""}), ", b, ");
    std::string all = "0";
    std::vector<std::string> numbers = {"0"};
    while (numbers.size() < 24) {
        all += ", " + std::to_string(numbers.size());
        numbers.push_back(std::to_string(numbers.size()));
    }
    EXPECT_EQ(shownValues(numbers), all) << "as many as are shown";
    numbers.push_back("24");
    EXPECT_EQ(shownValues(numbers), all + " and 1 more");
    const std::string longest(80, 'x');
    EXPECT_EQ(shownValues({longest}), longest);
    EXPECT_EQ(shownValues({longest + "y"}), longest + "... (81 bytes)");
    EXPECT_EQ(enumText("media", longest), longest);
    EXPECT_EQ(enumText("media", longest + "y"), longest + "... (81 bytes)");
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
