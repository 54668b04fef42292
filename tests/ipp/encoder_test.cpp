#include "ipp/encoder.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <span>
#include <string>

#include "harness/ipp_dump.h"
#include "harness/wire.h"

namespace velmora::testing {
namespace {

constexpr IppVersion kVersion{1, 0};
constexpr int kCopies = ippName("copies");
constexpr int kMedia = ippName("media");
constexpr int kPageRanges = ippName("page-ranges");

UniqueIppMessage request(IppOperation operation = IppOperation::printJob) {
    return newIppRequest(kVersion, operation, 1);
}

UniqueIppMessage responseOf(IppGroup group, UniqueIppAttribute attribute) {
    UniqueIppMessage message = newIppMessage();
    EXPECT_TRUE(addIppAttribute(*message, group, 0, std::move(attribute)));
    return message;
}

/// The start of every request up to its own attributes.
Wire requestStart(unsigned operationId = 0x0002) {
    return Wire()
        .u8({0x01, 0x00})              // version 1.0
        .u16(operationId)              //
        .u8({0x01, 0x00, 0x00, 0x00})  // request id 1, as it lies in memory
        .u8({0x01})                    // operation attributes
        .value(0x47, "attributes-charset", "utf-8")
        .value(0x48, "attributes-natural-language", "en-us");
}

/// A response whose one attribute in the job group is `value`, already encoded.
Bytes jobResponse(const Wire& value) {
    return Wire().u8({0, 0, 0, 0, 0, 0, 0, 0}).u8({0x02}).raw(value.bytes()).u8({0x03}).bytes();
}

TEST(NewRequest, HoldsCharsetAndLanguageAlone) {
    const auto message = request(IppOperation::getPrinterAttributes);
    EXPECT_EQ(dumpOf(*message),
              "1:0:4:1\n"
              "0/0 0 attributes-charset = 65536('utf-8')\n"
              "0/0 1 attributes-natural-language = 131072('en-us')\n");
}

TEST(Encode, NewRequestIsHeaderTwoAttributesAndEndTag) {
    EXPECT_EQ(encoded(*request()), requestStart().u8({0x03}).bytes());
}

TEST(Encode, RequestIdGoesOutAsItLiesInMemory) {
    const auto message = newIppRequest(kVersion, IppOperation::printJob, 0x04030201);
    const Bytes bytes = encoded(*message);
    EXPECT_EQ(Bytes(bytes.begin() + 4, bytes.begin() + 8), (Bytes{1, 2, 3, 4}));
}

TEST(Encode, VersionBytesGoOutAsTheyStand) {
    const auto message = newIppRequest({2, 9}, IppOperation::printJob, 1);
    const Bytes bytes = encoded(*message);
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 2), (Bytes{2, 9}));
}

TEST(Encode, EachOperationHasItsOwnId) {
    constexpr std::array<unsigned, 17> kWritten = {0x0002, 0x0003, 0x0004, 0x0005, 0x000B, 0x000A,
                                                   0x0010, 0x0011, 0x0012, 0x0006, 0x0007, 0x0008,
                                                   0x0009, 0x000C, 0x000D, 0x000E, 0x1040};
    for (unsigned code = 0; code < kWritten.size(); ++code) {
        SCOPED_TRACE(code);
        EXPECT_EQ(encoded(*request(static_cast<IppOperation>(code))),
                  requestStart(kWritten[code]).u8({0x03}).bytes());
    }
}

TEST(Encode, OperationWithoutRowIsRefused) {
    UniqueIppBlockBuffer buffer = newIppBlockBuffer();
    for (const auto operation : {static_cast<IppOperation>(17), IppOperation::unknown}) {
        EXPECT_EQ(encodeIppMessage(*request(operation), false, buffer), -1);
        EXPECT_EQ(buffer, nullptr);
    }
}

TEST(Encode, StatusOfResponseIsBigEndian) {
    const auto message = newIppMessage();
    for (const unsigned status : {0x0406u, 0x7FFFu, 0x8000u, 0x8001u, 0xFFFFu}) {
        message->operationOrStatus = status;
        EXPECT_EQ(encoded(*message, true), Wire().u16(0).u16(status).u32(0).u8({0x03}).bytes());
    }
}

TEST(Encode, GroupsGoOutOperationUnsupportedPrinterJob) {
    const auto message = request();
    for (const IppGroup group : {IppGroup::job, IppGroup::printer, IppGroup::unsupported}) {
        addIppAttribute(*message, group, 0,
                        newIntegerAttribute(kCopies, static_cast<std::int32_t>(group)));
    }
    EXPECT_EQ(encoded(*message), requestStart()
                                     .u8({0x05})
                                     .value(0x21, "copies", {0, 0, 0, 3})
                                     .u8({0x04})
                                     .value(0x21, "copies", {0, 0, 0, 2})
                                     .u8({0x02})
                                     .value(0x21, "copies", {0, 0, 0, 1})
                                     .u8({0x03})
                                     .bytes());
}

TEST(Encode, EachRunOfOneInstanceHasItsDelimiter) {
    const auto message = newIppMessage();
    for (const unsigned instance : {0u, 0u, 1u, 7u, 7u, 0u}) {
        addIppAttribute(*message, IppGroup::job, instance,
                        newEnumAttribute(kCopies, static_cast<std::int32_t>(instance)));
    }
    Wire wire;
    wire.u8({0, 0, 0, 0, 0, 0, 0, 0});
    wire.u8({0x02}).value(0x23, "copies", {0, 0, 0, 0}).value(0x23, "copies", {0, 0, 0, 0});
    wire.u8({0x02}).value(0x23, "copies", {0, 0, 0, 1});
    wire.u8({0x02}).value(0x23, "copies", {0, 0, 0, 7}).value(0x23, "copies", {0, 0, 0, 7});
    wire.u8({0x02}).value(0x23, "copies", {0, 0, 0, 0}).u8({0x03});
    EXPECT_EQ(encoded(*message, true), wire.bytes());
}

TEST(Encode, LaterValuesHaveNoName) {
    const auto attribute = std::array{"a4", "a3", "letter"};
    const auto message = responseOf(IppGroup::job, newKeywordAttribute(kMedia, attribute));
    EXPECT_EQ(
        encoded(*message, true),
        jobResponse(
            Wire().value(0x44, "media", "a4").value(0x44, "", "a3").value(0x44, "", "letter")));
}

TEST(Encode, AttributeWithoutValuesIsHeldButAddsNoBytes) {
    const auto message = request();
    addIppAttribute(*message, IppGroup::operation, 0, newRangeAttribute(kPageRanges, {}));
    ASSERT_NE(message->group(IppGroup::operation).tail, nullptr);
    EXPECT_EQ(message->group(IppGroup::operation).tail->nameIndex, kPageRanges);
    EXPECT_EQ(message->group(IppGroup::operation).tail->firstValue(), nullptr);
    EXPECT_EQ(encoded(*message), requestStart().u8({0x03}).bytes());
}

TEST(Encode, RunOfAttributesWithoutValuesStillHasItsDelimiter) {
    const auto message = responseOf(IppGroup::job, newRangeAttribute(kPageRanges, {}));
    EXPECT_EQ(encoded(*message, true), jobResponse(Wire()));
}

TEST(Encode, NameThatTheTableLacksIsTheFirstValue) {
    const auto texts = std::array{"media-col-x", "a4", "a3"};
    const auto message = responseOf(IppGroup::job, newKeywordAttribute(-1, texts));
    EXPECT_EQ(encoded(*message, true),
              jobResponse(Wire().value(0x44, "media-col-x", "a4").value(0x44, "", "a3")));
}

TEST(Encode, TagOfUnknownNameComesFromTheSecondValue) {
    IppValue values[2] = {};
    values[0].kind = IppValueKind::keyword;
    values[0].text = {7, "x-level"};
    values[1].kind = IppValueKind::integer;
    values[1].number = -2;
    const auto message = responseOf(IppGroup::job, newIppAttribute(-1, values));
    EXPECT_EQ(encoded(*message, true),
              jobResponse(Wire().value(0x21, "x-level", {0xFF, 0xFF, 0xFF, 0xFE})));
}

TEST(Encode, UnknownNameAloneIsWrittenTwice) {
    const auto message = responseOf(IppGroup::job, newKeywordAttribute(-1, "x-alone"));
    EXPECT_EQ(encoded(*message, true), jobResponse(Wire().value(0x10, "x-alone", "x-alone")));
}

IppValue valueOf(IppValueKind kind) {
    IppValue value{};
    value.kind = kind;
    return value;
}

IppValue textValue(IppValueKind kind, const char* text) {
    IppValue value = valueOf(kind);
    value.text = {static_cast<std::uint32_t>(std::strlen(text)), text};
    return value;
}

struct KindCase {
    const char* what;
    IppValue value;
    unsigned tag;
    Wire octets;
};

std::vector<KindCase> kindCases() {
    using Kind = IppValueKind;
    IppValue integer = valueOf(Kind::integer);
    integer.number = 0x01020304;
    IppValue negative = valueOf(Kind::enumeration);
    negative.number = -1;
    IppValue yes = valueOf(Kind::boolean);
    yes.number = -128;
    IppValue range = valueOf(Kind::rangeOfInteger);
    range.range = {1, -2147483647 - 1};
    IppValue resolution = valueOf(Kind::resolution);
    resolution.resolution = {600, 0x80000001, 3};
    IppValue date = valueOf(Kind::dateTime);
    date.dateTime = {2026, 11, 21, 12, 25, 59, 9, '+', 13, 45};
    IppValue twoTexts = valueOf(Kind::textWithLanguage);
    twoTexts.languageText = {2, "en\0ready"};
    IppValue noTexts = valueOf(Kind::nameWithLanguage);
    noTexts.languageText = {0, "\0"};
    IppValue raw = valueOf(Kind::rawOctets);
    raw.raw = {3, 0x7F, "a\0b"};
    return {
        {"unsupported", valueOf(Kind::unsupported), 0x10, Wire()},
        {"unknown", valueOf(Kind::unknown), 0x12, Wire()},
        {"no-value", valueOf(Kind::noValue), 0x13, Wire()},
        {"integer", integer, 0x21, Wire().u8({1, 2, 3, 4})},
        {"enum", negative, 0x23, Wire().u32(0xFFFFFFFF)},
        {"true", yes, 0x22, Wire().u8({1})},
        {"false", valueOf(Kind::boolean), 0x22, Wire().u8({0})},
        {"range", range, 0x33, Wire().u32(1).u32(0x80000000)},
        {"resolution", resolution, 0x32, Wire().u32(600).u32(0x80000001).u8({3})},
        {"dateTime", date, 0x31, Wire().u16(2026).u8({11, 21, 12, 25, 59, 9, '+', 13, 45})},
        {"textWithLanguage", twoTexts, 0x35, Wire().text("en").text("ready")},
        {"nameWithLanguage", noTexts, 0x36, Wire().u32(0)},
        {"octetString", textValue(Kind::octetString, "oct"), 0x30, Wire().raw("oct")},
        {"text", textValue(Kind::textWithoutLanguage, "t"), 0x41, Wire().raw("t")},
        {"name", textValue(Kind::nameWithoutLanguage, "n"), 0x42, Wire().raw("n")},
        {"keyword", textValue(Kind::keyword, "k"), 0x44, Wire().raw("k")},
        {"uri", textValue(Kind::uri, "ipp://h/p"), 0x45, Wire().raw("ipp://h/p")},
        {"uriScheme", textValue(Kind::uriScheme, "ipp"), 0x46, Wire().raw("ipp")},
        {"charset", textValue(Kind::charset, "utf-8"), 0x47, Wire().raw("utf-8")},
        {"naturalLanguage", textValue(Kind::naturalLanguage, "de"), 0x48, Wire().raw("de")},
        {"mimeMediaType", textValue(Kind::mimeMediaType, ""), 0x49, Wire()},
        {"raw", raw, 0x7F, Wire().u8({'a', 0, 'b'})},
    };
}

TEST(Encode, EachKindHasItsTagAndLayoutAndIsReadBack) {
    for (const KindCase& each : kindCases()) {
        SCOPED_TRACE(each.what);
        const auto message = responseOf(IppGroup::job, newIppAttribute(kMedia, {&each.value, 1}));
        const Bytes expected =
            jobResponse(Wire()
                            .u8({each.tag})
                            .text("media")
                            .u16(static_cast<unsigned>(each.octets.bytes().size()))
                            .raw(each.octets.bytes()));
        EXPECT_EQ(encoded(*message, true), expected);
        const auto back = parsed(expected, IppReadMode::response, {.keepUnknownKinds = true});
        EXPECT_EQ(back.result, 1);
        EXPECT_EQ(dumpOf(*back.message), dumpOf(*message));
    }
}

TEST(Encode, EachKindLooksTheSameAcrossTheBorderOfTwoBlocks) {
    // A first value of growing length moves the second over the end of the first 512 bytes.
    for (const KindCase& each : kindCases()) {
        SCOPED_TRACE(each.what);
        for (std::size_t length = 440; length < 520; ++length) {
            const std::string filler(length, 'f');
            const IppValue values[] = {textValue(IppValueKind::keyword, filler.c_str()), each.value,
                                       each.value};
            const auto message = responseOf(IppGroup::job, newIppAttribute(kMedia, values));
            Wire wire;
            wire.value(0x44, "media", filler);
            for (int i = 0; i < 2; ++i) {
                wire.u8({each.tag})
                    .u16(0)
                    .u16(static_cast<unsigned>(each.octets.bytes().size()))
                    .raw(each.octets.bytes());
            }
            ASSERT_EQ(encoded(*message, true), jobResponse(wire)) << length;
        }
    }
}

TEST(Encode, TextsUpToTheLargestLengthAreWrittenAndLongerOnesRefused) {
    for (const std::size_t length : {1023u, 1024u, 32767u, 32768u, 65535u}) {
        const std::string text(length, 't');
        const auto message = responseOf(IppGroup::job, newNameAttribute(kMedia, text.c_str()));
        EXPECT_EQ(encoded(*message, true), jobResponse(Wire().value(0x42, "media", text)));
    }
    UniqueIppBlockBuffer buffer;
    for (const std::size_t length : {65536u, 65537u, 200000u}) {
        const std::string text(length, 't');
        const auto value = responseOf(IppGroup::job, newNameAttribute(kMedia, text.c_str()));
        EXPECT_EQ(encodeIppMessage(*value, true, buffer), -1);
        const auto name = std::array{text.c_str(), "v"};
        EXPECT_EQ(encodeIppMessage(*responseOf(IppGroup::job, newKeywordAttribute(-1, name)), true,
                                   buffer),
                  -1);
        EXPECT_EQ(
            encodeIppMessage(*responseOf(IppGroup::job, newKeywordAttribute(-1, text.c_str())),
                             true, buffer),
            -1);
        EXPECT_EQ(buffer, nullptr);
    }
}

TEST(Encode, NamesUpToTheLargestLengthAreWritten) {
    // Longer than a block, as long as our own reader takes, and as long as a length field can
    // express.
    for (const std::size_t length : {511u, 512u, 1022u, 1023u, 1024u, 65534u, 65535u}) {
        SCOPED_TRACE(length);
        const std::string name(length, 'n');
        const auto named = std::array{name.c_str(), "v"};
        EXPECT_EQ(encoded(*responseOf(IppGroup::job, newKeywordAttribute(-1, named)), true),
                  jobResponse(Wire().value(0x44, name, "v")));
        EXPECT_EQ(encoded(*responseOf(IppGroup::job, newKeywordAttribute(-1, name.c_str())), true),
                  jobResponse(Wire().value(0x10, name, name)));
    }
}

TEST(Encode, LanguageKindsCountTheirInnerLengths) {
    const std::string language(1000, 'l');
    for (const std::size_t length : {64531u, 64532u}) {
        const std::string both = language + '\0' + std::string(length, 't');
        IppValue value = valueOf(IppValueKind::textWithLanguage);
        value.languageText = {1000, both.c_str()};
        const auto message = responseOf(IppGroup::job, newIppAttribute(kMedia, {&value, 1}));
        UniqueIppBlockBuffer buffer;
        EXPECT_EQ(encodeIppMessage(*message, true, buffer), length == 64531u ? 0 : -1);
    }
}

TEST(Encode, AreaOfTheRightSizeTakesTheSameBytesAndASmallerOneNone) {
    for (const std::size_t length : {0u, 10u, 480u, 5000u}) {
        const std::string text(length, 't');
        const auto message = responseOf(IppGroup::job, newNameAttribute(kMedia, text.c_str()));
        for (const KindCase& each : kindCases()) {
            addIppAttribute(*message, IppGroup::job, 0, newIppAttribute(kCopies, {&each.value, 1}));
        }
        const Bytes expected = encoded(*message, true);
        ASSERT_FALSE(expected.empty());
        EXPECT_EQ(encodedIppSize(*message, true), expected.size());
        Bytes area(expected.size() + 1, 0xEE);
        const std::span<std::uint8_t> whole(area);
        EXPECT_EQ(encodeIppMessage(*message, true, whole.first(expected.size())), expected.size());
        EXPECT_EQ(area.back(), 0xEE);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), area.begin()));
        for (std::size_t small = 0; small < expected.size(); ++small) {
            ASSERT_EQ(encodeIppMessage(*message, true, whole.first(small)), 0u) << small;
        }
    }
}

TEST(Encode, MessageThatCannotBeWrittenHasNoSize) {
    Bytes area(100);
    const auto message = responseOf(IppGroup::job, newIntegerAttribute(129, 1));
    EXPECT_EQ(encodedIppSize(*message, true), 0u);
    EXPECT_EQ(encodeIppMessage(*message, true, area), 0u);
}

TEST(Encode, AttributeThatCannotHaveANameIsRefused) {
    UniqueIppBlockBuffer buffer;
    IppValue number = valueOf(IppValueKind::integer);
    number.number = 7;  // where a text has its length
    const auto empty = std::array{"", "value"};
    UniqueIppAttribute attributes[] = {
        newIppAttribute(-1, {&number, 1}), newKeywordAttribute(-1, ""),
        newKeywordAttribute(-1, empty),    newIntegerAttribute(-2, 1),
        newIntegerAttribute(129, 1),       newIntegerAttribute(65536, 1),
        newIntegerAttribute(65535, 1),     newIntegerAttribute(-65537, 1)};
    for (UniqueIppAttribute& attribute : attributes) {
        const auto message = responseOf(IppGroup::job, std::move(attribute));
        EXPECT_EQ(encodeIppMessage(*message, true, buffer), -1);
    }
}

TEST(Encode, ValueOfNoKindIsRefused) {
    UniqueIppBlockBuffer buffer;
    const auto message = responseOf(IppGroup::job, newIntegerAttribute(kCopies, 1));
    for (const std::uint32_t code : {3u, 5u, 1u << 20, 0xFFFFFFFFu}) {
        message->group(IppGroup::job).head->value.kind = static_cast<IppValueKind>(code);
        EXPECT_EQ(encodeIppMessage(*message, true, buffer), -1);
    }
}

TEST(AddAttribute, NullIsNotAdded) {
    const auto message = newIppMessage();
    EXPECT_FALSE(addIppAttribute(*message, IppGroup::job, 0, nullptr));
    EXPECT_EQ(message->group(IppGroup::job).head, nullptr);
}

TEST(NewAttribute, EachConstructorKeepsItsPayloadsInOrder) {
    const std::int32_t numbers[] = {1, -1, 2147483647};
    const bool booleans[] = {true, false};
    const IppResolution resolutions[] = {{600, 1200, 3}, {1, 2, 4}};
    const IppRange ranges[] = {{1, 5}, {-3, 7}};
    std::string first = "one";
    const char* const texts[] = {first.c_str(), "", nullptr, "two"};
    const auto message = newIppMessage();
    const auto add = [&](UniqueIppAttribute attribute) {
        EXPECT_TRUE(addIppAttribute(*message, IppGroup::printer, 0, std::move(attribute)));
    };
    add(newIntegerAttribute(0, numbers));
    add(newBooleanAttribute(0, booleans));
    add(newEnumAttribute(0, numbers));
    add(newResolutionAttribute(0, resolutions));
    add(newRangeAttribute(0, ranges));
    add(newNameAttribute(0, texts));
    add(newKeywordAttribute(0, texts));
    add(newUriAttribute(0, texts));
    add(newCharsetAttribute(0, texts));
    add(newNaturalLanguageAttribute(0, texts));
    first = "changed";
    const std::string start = "2/0 0 attributes-charset =";
    const auto four = [](const char* kind) {
        const std::string k = std::string(" ") + kind;
        return k + "('one')" + k + "('')" + k + "('')" + k + "('two')\n";
    };
    EXPECT_EQ(dumpOf(*message),
              "0:0:0:0\n" + start + " 4(1) 4(-1) 4(2147483647)\n" + start + " 8(true) 8(false)\n" +
                  start + " 16(1) 16(-1) 16(2147483647)\n" + start +
                  " 128(600:1200:3) 128(1:2:4)\n" + start + " 256(1:5) 256(-3:7)\n" + start +
                  four("4096") + start + four("8192") + start + four("16384") + start +
                  four("65536") + start + four("131072"));
}

TEST(NewAttribute, WithoutPayloadsIsHeldAndWritesNothing) {
    const std::span<const std::int32_t> numbers;
    const std::span<const bool> booleans;
    const std::span<const IppResolution> resolutions;
    const std::span<const IppRange> ranges;
    const std::span<const char* const> texts;
    const std::span<const IppValue> values;
    const UniqueIppMessage message = newIppMessage();
    for (IppStorage* const storage : {static_cast<IppStorage*>(nullptr), &message->storage()}) {
        UniqueIppAttribute attributes[] = {newIntegerAttribute(kMedia, numbers, storage),
                                           newBooleanAttribute(kMedia, booleans, storage),
                                           newEnumAttribute(kMedia, numbers, storage),
                                           newResolutionAttribute(kMedia, resolutions, storage),
                                           newRangeAttribute(kMedia, ranges, storage),
                                           newNameAttribute(kMedia, texts, storage),
                                           newKeywordAttribute(kMedia, texts, storage),
                                           newUriAttribute(kMedia, texts, storage),
                                           newCharsetAttribute(kMedia, texts, storage),
                                           newNaturalLanguageAttribute(kMedia, texts, storage),
                                           newIppAttribute(kMedia, values, storage)};
        for (UniqueIppAttribute& attribute : attributes) {
            ASSERT_NE(attribute, nullptr);
            EXPECT_EQ(attribute->nameIndex, kMedia);
            EXPECT_EQ(attribute->firstValue(), nullptr);
            addIppAttribute(*message, IppGroup::job, 0, std::move(attribute));
        }
    }
    EXPECT_EQ(encoded(*message, true), jobResponse(Wire()));
}

TEST(NewAttribute, OfAnyKindsCopiesItsTexts) {
    for (const bool stored : {false, true}) {
        std::string text = "text";
        std::string raw("r\0w", 3);
        std::string both("en\0ready", 8);
        std::string last = "last";
        IppValue values[] = {
            textValue(IppValueKind::keyword, text.c_str()), valueOf(IppValueKind::rawOctets),
            valueOf(IppValueKind::textWithLanguage), valueOf(IppValueKind::integer),
            textValue(IppValueKind::uri, last.c_str())};
        values[1].raw = {3, 0x7F, raw.c_str()};
        values[2].languageText = {2, both.c_str()};
        values[3].number = 7;
        const UniqueIppMessage message = newIppMessage();
        addIppAttribute(*message, IppGroup::job, 0,
                        newIppAttribute(kMedia, values, stored ? &message->storage() : nullptr));
        for (std::string* const given : {&text, &raw, &both, &last})
            given->assign(given->size(), 'x');
        EXPECT_EQ(encoded(*message, true), jobResponse(Wire()
                                                           .value(0x44, "media", "text")
                                                           .value(0x7F, "", {'r', 0, 'w'})
                                                           .u8({0x35})
                                                           .u16(0)
                                                           .u16(11)
                                                           .text("en")
                                                           .text("ready")
                                                           .value(0x21, "", {0, 0, 0, 7})
                                                           .value(0x45, "", "last")));
    }
}

TEST(NewAttribute, TextsInAStorageLeaveTheirNeighboursAlone) {
    const UniqueIppMessage message = newIppMessage();
    Wire wire;
    for (int i = 0; i < 40; ++i) {
        const std::string number = std::to_string(i);
        const std::string texts[] = {"first-" + number, "the-second-" + number,
                                     std::string(i == 20 ? 3000 : 14, 'l') + number};
        const char* const given[] = {texts[0].c_str(), texts[1].c_str(), texts[2].c_str()};
        const std::size_t count = static_cast<std::size_t>(i) % 3 + 1;
        const std::span<const char* const> some(given, count);
        IppValue values[3];
        for (std::size_t at = 0; at < count; ++at)
            values[at] = textValue(IppValueKind::keyword, given[at]);
        addIppAttribute(*message, IppGroup::job, 0,
                        i % 2 == 0 ? newKeywordAttribute(kMedia, some, &message->storage())
                                   : newIppAttribute(kMedia, {values, count}, &message->storage()));
        for (std::size_t at = 0; at < count; ++at)
            wire.value(0x44, at == 0 ? "media" : "", texts[at]);
    }
    EXPECT_EQ(encoded(*message, true), jobResponse(wire));
}

TEST(NewAttribute, CountWhoseSizeCannotBeANumberGivesNull) {
    // The values' size would wrap and the block be far too small. Nothing is read of the payloads.
    const std::int32_t number = 1;
    const std::size_t most = std::numeric_limits<std::size_t>::max() / sizeof(IppValue);
    for (const std::size_t count : {most, most + 1, most + 2, most + 10}) {
        EXPECT_EQ(newIntegerAttribute(kCopies, std::span(&number, count)), nullptr);
        UniqueIppMessage message = newIppMessage();
        EXPECT_EQ(newIntegerAttribute(kCopies, std::span(&number, count), &message->storage()),
                  nullptr);
    }
}

TEST(NewAttribute, ValueOfNoKindGivesNull) {
    const IppValue value = valueOf(static_cast<IppValueKind>(6));
    EXPECT_EQ(newIppAttribute(0, {&value, 1}), nullptr);
}

}  // namespace
}  // namespace velmora::testing
