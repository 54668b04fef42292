#include "ipp/reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <span>
#include <string>

#include "harness/guarded_bytes.h"
#include "harness/ipp_dump.h"
#include "harness/wire.h"
#include "tests/ipp/sample_messages.h"

namespace velmora::testing {
namespace {

/// The result of a message fed in pieces that end at the given places.
struct Outcome {
    int result;
    bool complete;
    std::string dump;

    bool operator==(const Outcome&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    return out << outcome.result << (outcome.complete ? " complete\n" : " incomplete\n")
               << outcome.dump;
}

/// Each piece ends right before a page that cannot be read, so that a read beyond it ends the test.
Outcome fed(const Bytes& bytes, std::initializer_list<std::size_t> cuts,
            const IppReadPolicy& policy = {}) {
    const auto message = newIppMessage();
    IppReader reader(*message, IppReadMode::response, policy);
    int result = 0;
    std::size_t start = 0;
    const auto feed = [&](std::size_t end) {
        static GuardedArea area(1 << 17);
        const std::span<std::byte> piece = area.last(end - start);
        std::copy_n(std::as_bytes(std::span(bytes)).subspan(start).begin(), piece.size(),
                    piece.begin());
        result = reader.feed(piece.data(), piece.size());
        start = end;
    };
    for (const std::size_t cut : cuts)
        feed(cut);
    feed(bytes.size());
    return {result, reader.complete(), dumpOf(*message)};
}

Outcome fedByteByByte(const Bytes& bytes, const IppReadPolicy& policy = {}) {
    const auto message = newIppMessage();
    IppReader reader(*message, IppReadMode::response, policy);
    int result = 0;
    for (const std::uint8_t byte : bytes) {
        const Bytes piece{byte};
        result = reader.feed(piece.data(), 1);
    }
    return {result, reader.complete(), dumpOf(*message)};
}

/// Expects the same outcome however the message is cut; returns it.
Outcome fedEveryWay(const Bytes& bytes, const IppReadPolicy& policy = {}) {
    const Outcome whole = fed(bytes, {}, policy);
    EXPECT_EQ(fedByteByByte(bytes, policy), whole);
    for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
        EXPECT_EQ(fed(bytes, {cut}, policy), whole) << "cut at " << cut;
        EXPECT_EQ(fed(bytes, {cut, cut}, policy), whole) << "empty piece at " << cut;
        if (::testing::Test::HasFailure()) break;
    }
    return whole;
}

TEST(GoodMessages, ParseTheSameHoweverTheyAreCut) {
    for (const SampleMessage& sample : goodMessages()) {
        SCOPED_TRACE(sample.name);
        const Outcome outcome = fedEveryWay(sample.bytes);
        EXPECT_EQ(outcome.result, 1);
        EXPECT_TRUE(outcome.complete);
        EXPECT_EQ(outcome.dump, sample.dump);
    }
}

TEST(GoodMessages, WantMoreAtEveryPrefix) {
    for (const SampleMessage& sample : goodMessages()) {
        SCOPED_TRACE(sample.name);
        const Bytes& bytes = sample.bytes;
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            const Bytes prefix(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
            const auto message = newIppMessage();
            IppReader reader(*message, IppReadMode::response);
            EXPECT_EQ(reader.feed(prefix.data(), prefix.size()), 0) << length;
            EXPECT_FALSE(reader.complete());
            EXPECT_EQ(reader.feed(prefix.data(), 0, true), -1);
            const auto last = newIppMessage();
            IppReader lastPiece(*last, IppReadMode::response);
            EXPECT_EQ(lastPiece.feed(prefix.data(), prefix.size(), true), -1) << length;
        }
        const auto message = newIppMessage();
        IppReader reader(*message, IppReadMode::response);
        EXPECT_EQ(reader.feed(bytes.data(), bytes.size(), true), 1);
    }
}

TEST(GoodMessages, LookTheSameToTheLenientPolicy) {
    for (const SampleMessage& sample : goodMessages()) {
        SCOPED_TRACE(sample.name);
        EXPECT_EQ(fedEveryWay(sample.bytes, {.keepUnknownKinds = true}), fed(sample.bytes, {}));
    }
}

TEST(GoodMessages, AreWrittenAndReadAgainAsTheSame) {
    for (const SampleMessage& sample : goodMessages()) {
        SCOPED_TRACE(sample.name);
        const auto first = parsed(sample.bytes);
        const Bytes written = encoded(*first.message, true);
        ASSERT_FALSE(written.empty());
        const auto second = parsed(written);
        EXPECT_EQ(second.result, 1);
        EXPECT_EQ(dumpOf(*second.message), sample.dump);
    }
}

TEST(BadMessages, AreSyntaxErrorsHoweverTheyAreCut) {
    for (const SampleMessage& sample : badMessages()) {
        SCOPED_TRACE(sample.name);
        const Outcome outcome = fedEveryWay(sample.bytes);
        EXPECT_EQ(outcome.result, -1);
        EXPECT_FALSE(outcome.complete);
    }
}

TEST(BadMessages, StayRefusedWhateverFollows) {
    for (const SampleMessage& sample : badMessages()) {
        SCOPED_TRACE(sample.name);
        const auto message = newIppMessage();
        IppReader reader(*message, IppReadMode::response);
        const Bytes& bytes = sample.bytes;
        EXPECT_EQ(reader.feed(bytes.data(), bytes.size()), -1);
        const std::string before = dumpOf(*message);
        const Bytes good = responseHeader().u8({0x03}).bytes();
        EXPECT_EQ(reader.feed(good.data(), good.size()), -1);
        EXPECT_EQ(reader.feed(nullptr, 0), -1);
        EXPECT_EQ(dumpOf(*message), before);
    }
}

TEST(ToolsMessages, AreRefusedByDefaultAndKeptByTheLenientPolicy) {
    for (const SampleMessage& sample : toolsMessages()) {
        SCOPED_TRACE(sample.name);
        EXPECT_EQ(fedEveryWay(sample.bytes).result, -1);
        const Outcome lenient = fedEveryWay(sample.bytes, {.keepUnknownKinds = true});
        EXPECT_EQ(lenient.result, 1);
        EXPECT_EQ(lenient.dump, sample.dump);
    }
}

TEST(ToolsMessages, AreWrittenAsTheyCame) {
    for (const SampleMessage& sample : toolsMessages()) {
        SCOPED_TRACE(sample.name);
        const auto message =
            parsed(sample.bytes, IppReadMode::response, {.keepUnknownKinds = true}).message;
        EXPECT_EQ(encoded(*message, true), sample.bytes);
    }
}

TEST(Reader, LenientPolicyRefusesWhatIsNoMatterOfKinds) {
    for (const SampleMessage& sample : badMessages()) {
        SCOPED_TRACE(sample.name);
        EXPECT_EQ(fedEveryWay(sample.bytes, {.keepUnknownKinds = true}).result, -1);
    }
}

TEST(Tags, OfOurGroupsAndKindsAreKnownAndNoOthers) {
    const std::map<unsigned, IppGroup> groups{{0x01, IppGroup::operation},
                                              {0x02, IppGroup::job},
                                              {0x04, IppGroup::printer},
                                              {0x05, IppGroup::unsupported}};
    const std::set<unsigned> values{0x10, 0x12, 0x13, 0x21, 0x22, 0x23, 0x30, 0x31, 0x32, 0x33,
                                    0x35, 0x36, 0x41, 0x42, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49};
    for (unsigned tag = 0; tag < 256; ++tag) {
        SCOPED_TRACE(tag);
        const auto group = ippGroupOfTag(static_cast<std::uint8_t>(tag));
        EXPECT_EQ(group.has_value(), groups.contains(tag));
        if (group) {
            EXPECT_EQ(*group, groups.at(tag));
            EXPECT_EQ(ippDelimiterTag(*group), tag);
        }
        const IppKindRow* const row = ippRowOfTag(static_cast<std::uint8_t>(tag));
        EXPECT_EQ(row != nullptr, values.contains(tag));
        if (row != nullptr) {
            EXPECT_EQ(row->tag, tag);
            EXPECT_EQ(ippRowOfKind(row->kind), row);
        }
    }
}

TEST(Reader, DefaultPolicyIsTheStrictOne) {
    EXPECT_FALSE(IppReadPolicy{}.keepUnknownKinds);
    const Bytes noValue = responseHeader().u8({0x01}).value(0x13, "copies", "").u8({0x03}).bytes();
    EXPECT_EQ(parsed(noValue).result, -1);
}

TEST(Reader, StatusIsReadInHostOrderWithoutSign) {
    for (const unsigned status : {0x0000u, 0x0001u, 0x0406u, 0x7FFFu, 0x8001u, 0xFFFFu}) {
        const Bytes bytes = Wire().u8({1, 1}).u16(status).u32(0).u8({0x03}).bytes();
        const auto response = parsed(bytes);
        EXPECT_EQ(response.result, 1);
        EXPECT_EQ(response.message->operationOrStatus, status);
    }
}

TEST(Reader, VersionIsKeptAsItComes) {
    const auto response = parsed(Wire().u8({0xFE, 0x09}).u16(0).u32(0).u8({0x03}).bytes());
    EXPECT_EQ(response.message->version.majorNumber, 0xFE);
    EXPECT_EQ(response.message->version.minorNumber, 0x09);
}

TEST(Reader, RequestIdIsKeptAsItsBytesLie) {
    const auto response =
        parsed(Wire().u8({1, 0, 0, 0}).u8({0x01, 0x02, 0x03, 0x04}).u8({0x03}).bytes());
    EXPECT_EQ(response.message->requestId, 0x04030201u);
    EXPECT_EQ(encoded(*response.message, true), (Bytes{1, 0, 0, 0, 1, 2, 3, 4, 3}));
}

IppOperation operationOf(unsigned id) {
    const auto request =
        parsed(Wire().u8({1, 0}).u16(id).u32(0).u8({0x03}).bytes(), IppReadMode::request);
    EXPECT_EQ(request.result, 1);
    return request.message->operation();
}

TEST(Reader, EachOperationIdOfARequestHasItsCode) {
    constexpr std::array<unsigned, 16> kIds = {0x0002, 0x0003, 0x0004, 0x0005, 0x000B, 0x000A,
                                               0x0010, 0x0011, 0x0012, 0x0006, 0x0007, 0x0008,
                                               0x0009, 0x000C, 0x000D, 0x000E};
    for (unsigned code = 0; code < kIds.size(); ++code) {
        EXPECT_EQ(operationOf(kIds[code]), static_cast<IppOperation>(code));
    }
}

TEST(Reader, VendorOperationIsReadByItsOwnIdNotByTheOneThatIsWritten) {
    EXPECT_EQ(operationOf(0x4010), IppOperation::vendorOperation);
    EXPECT_EQ(operationOf(0x1040), IppOperation::unknown);
}

TEST(Reader, OtherOperationIdsAreUnknown) {
    for (const unsigned id : {0x0000u, 0x0001u, 0x000Fu, 0x0013u, 0x4000u, 0x8002u, 0xFFFFu}) {
        EXPECT_EQ(operationOf(id), IppOperation::unknown) << id;
    }
    EXPECT_EQ(static_cast<std::uint32_t>(IppOperation::unknown), 0xFFFFFFFFu);
}

TEST(Reader, GroupsOfOneKindHaveInstancesOfTheirOwn) {
    const Bytes bytes = responseHeader()
                            .u8({0x02})
                            .value(0x21, "job-id", {0, 0, 0, 1})
                            .u8({0x04})
                            .value(0x21, "copies", {0, 0, 0, 1})
                            .u8({0x02})
                            .value(0x21, "job-id", {0, 0, 0, 2})
                            .u8({0x02, 0x02})  // an empty group counts
                            .value(0x21, "job-id", {0, 0, 0, 4})
                            .u8({0x03})
                            .bytes();
    const auto response = parsed(bytes);
    ASSERT_EQ(response.result, 1);
    const IppAttribute* job = response.message->group(IppGroup::job).head;
    for (const unsigned instance : {0u, 1u, 3u}) {
        ASSERT_NE(job, nullptr);
        EXPECT_EQ(job->groupInstance, instance);
        job = job->next;
    }
    EXPECT_EQ(response.message->group(IppGroup::printer).head->groupInstance, 0u);
}

TEST(Reader, TwoJobGroupsAreWrittenBackAsTwo) {
    const Bytes bytes = responseHeader()
                            .u8({0x02})
                            .value(0x21, "job-id", {0, 0, 0, 1})
                            .u8({0x02})
                            .value(0x21, "job-id", {0, 0, 0, 2})
                            .u8({0x03})
                            .bytes();
    EXPECT_EQ(encoded(*parsed(bytes).message, true), bytes);
}

TEST(Reader, BooleanByteIsSignExtended) {
    for (const auto& [byte, number] : {std::pair{0x80u, -128}, {0xFFu, -1}, {0u, 0}, {1u, 1}}) {
        const auto response =
            parsed(responseHeader().u8({0x01}).value(0x22, "my-jobs", {byte}).u8({0x03}).bytes());
        ASSERT_EQ(response.result, 1);
        EXPECT_EQ(response.message->group(IppGroup::operation).head->value.number, number);
    }
}

TEST(Reader, ValueBeforeTheFirstGroupIsRefused) {
    const Bytes bytes = responseHeader().value(0x45, "job-uri", "ipp://h").u8({0x03}).bytes();
    for (const std::size_t piece : {bytes.size(), std::size_t{1}}) {
        const UniqueIppMessage message = newIppMessage();
        IppReader reader(*message, IppReadMode::response);
        int result = 0;
        for (std::size_t at = 0; at < bytes.size(); at += piece)
            result = reader.feed(bytes.data() + at, piece);
        EXPECT_EQ(result, -1);
        EXPECT_EQ(message->group(IppGroup::operation).head, nullptr);
    }
}

TEST(Reader, OctetStringEndsAtItsFirstNul) {
    const Bytes bytes = responseHeader()
                            .u8({0x01})
                            .value(0x30, "message", std::string_view("ab\0cd", 5))
                            .u8({0x03})
                            .bytes();
    const auto response = parsed(bytes);
    ASSERT_EQ(response.result, 1);
    EXPECT_EQ(response.message->group(IppGroup::operation).head->value.text.view(), "ab");
    EXPECT_EQ(encoded(*response.message, true),
              responseHeader().u8({0x01}).value(0x30, "message", "ab").u8({0x03}).bytes());
}

TEST(Reader, BytesAfterTheEndTagAreLeftAlone) {
    const Bytes answer = responseHeader().u8({0x03}).bytes();
    const Bytes rest(1 << 20, 0x41);
    const auto message = newIppMessage();
    IppReader reader(*message, IppReadMode::response);
    Bytes both = answer;
    both.insert(both.end(), rest.begin(), rest.end());
    EXPECT_EQ(reader.feed(both.data(), both.size(), true), 1);
    EXPECT_EQ(reader.feed(rest.data(), rest.size(), true), 1);
    EXPECT_TRUE(reader.complete());
    EXPECT_EQ(dumpOf(*message), "1:0:0:1\n");
}

TEST(Reader, NothingAtAllWantsMore) {
    const auto message = newIppMessage();
    IppReader reader(*message, IppReadMode::response);
    EXPECT_EQ(reader.feed(nullptr, 0), 0);
    EXPECT_EQ(reader.feed(nullptr, 0, true), -1);
    EXPECT_FALSE(reader.complete());
}

TEST(Reader, NamesAndValuesUpToTheLongestAreKept) {
    const std::string name = std::string(1023 - 8, 'n') + "-default";
    const std::string value(1023, 'v');
    const Bytes bytes = responseHeader().u8({0x04}).value(0x41, name, value).u8({0x03}).bytes();
    const Outcome outcome = fedEveryWay(bytes);
    EXPECT_EQ(outcome.result, 1);
    EXPECT_EQ(outcome.dump,
              "1:0:0:1\n2/0 -1 Unrecognized = 8192('" + name + "') 2048('" + value + "')\n");
    EXPECT_EQ(encoded(*parsed(bytes).message, true), bytes);
}

TEST(Reader, LongLengthsAreRefusedAtTheLengthItself) {
    // Nothing follows the length: the refusal must not wait for the bytes.
    for (const unsigned length : {1024u, 0x7FFFu, 0x8000u, 0x8001u, 0xFC00u, 0xFFFFu}) {
        SCOPED_TRACE(length);
        EXPECT_EQ(fedEveryWay(responseHeader().u8({0x01, 0x44}).u16(length).bytes()).result, -1);
        EXPECT_EQ(
            fedEveryWay(responseHeader().u8({0x01, 0x44}).text("media").u16(length).bytes()).result,
            -1);
    }
}

/// Uncut, cut at each place up to the end of the lengths and near the message's end, and fed byte
/// by byte. Cuts elsewhere split no further fields.
Outcome fedInTheWaysThatDiffer(const Bytes& bytes, const IppReadPolicy& policy) {
    const Outcome whole = fed(bytes, {}, policy);
    EXPECT_EQ(fedByteByByte(bytes, policy), whole);
    for (std::size_t cut = 1; cut < bytes.size(); ++cut) {
        if (cut == 32) cut = std::max(cut, bytes.size() - 8);
        EXPECT_EQ(fed(bytes, {cut}, policy), whole) << "cut at " << cut;
    }
    return whole;
}

TEST(Reader, LongFieldsAreRefusedThoughAllTheirBytesAreThere) {
    for (const std::size_t length : {1024u, 0x7FFFu, 0x8000u, 0xFFFFu}) {
        SCOPED_TRACE(length);
        const std::string octets(length, 'x');
        const Bytes name = responseHeader().u8({0x04}).value(0x44, octets, "a4").u8({0x03}).bytes();
        const Bytes value =
            responseHeader().u8({0x04}).value(0x44, "media", octets).u8({0x03}).bytes();
        for (const bool lenient : {false, true}) {
            const IppReadPolicy policy{.keepUnknownKinds = lenient};
            const Outcome longName = fedInTheWaysThatDiffer(name, policy);
            EXPECT_EQ(longName.result, -1);
            EXPECT_EQ(longName.dump, "1:0:0:1\n") << "there is no attribute of that name";
            const Outcome longValue = fedInTheWaysThatDiffer(value, policy);
            EXPECT_EQ(longValue.result, -1);
            EXPECT_EQ(longValue.dump, "1:0:0:1\n2/0 29 media =\n") << "nothing of it is stored";
        }
    }
    // Cut anywhere in a field of the first forbidden length.
    const std::string octets(1024, 'x');
    EXPECT_EQ(fedEveryWay(responseHeader().u8({0x04}).value(0x44, octets, "a4").u8({0x03}).bytes())
                  .result,
              -1);
    EXPECT_EQ(
        fedEveryWay(responseHeader().u8({0x04}).value(0x44, "media", octets).u8({0x03}).bytes())
            .result,
        -1);
}

/// `count` attributes of four bytes each in the printer group, and the end tag.
Bytes manyAttributes(std::size_t count) {
    Wire wire = responseHeader().u8({0x04});
    for (std::size_t i = 0; i < count; ++i)
        wire.value(0x21, "copies", {0, 0, 0, 1});
    return wire.u8({0x03}).bytes();
}

TEST(Reader, AnswerWithinTheBoundIsKeptWhole) {
    const auto response = parsed(manyAttributes(50000));
    EXPECT_EQ(response.result, 1);
    std::size_t count = 0;
    const IppAttribute* attribute = response.message->group(IppGroup::printer).head;
    for (; attribute != nullptr; attribute = attribute->next)
        ++count;
    EXPECT_EQ(count, 50000u);
}

TEST(Reader, AnswerBeyondTheBoundIsNotStoredAndStaysRefused) {
    const Bytes bytes = manyAttributes(200000);
    const auto message = newIppMessage();
    IppReader reader(*message, IppReadMode::response);
    EXPECT_EQ(reader.feed(bytes.data(), bytes.size()), -2);
    const Bytes end{0x03};
    EXPECT_EQ(reader.feed(end.data(), end.size(), true), -2);
    EXPECT_FALSE(reader.complete());
    EXPECT_EQ(parsed(bytes, IppReadMode::response, {.maxStoredBytes = 64u << 20}).result, 1);
}

TEST(Reader, DefaultBoundIsFourMebibytes) {
    const auto textsOf = [](std::size_t total) {
        Wire wire = responseHeader().u8({0x04}).value(0x44, "media", "a4");
        const std::string text(1000, 't');
        for (std::size_t size = 0; size < total; size += text.size())
            wire.value(0x44, "", text);
        return wire.u8({0x03}).bytes();
    };
    const std::size_t bound = 4 * 1024 * 1024;
    EXPECT_EQ(IppReadPolicy{}.maxStoredBytes, bound);
    EXPECT_EQ(parsed(textsOf(bound / 100 * 90)).result, 1);
    EXPECT_EQ(parsed(textsOf(bound)).result, -2);
}

TEST(Reader, BoundCountsEveryKindOfField) {
    const std::string long_(1000, 'x');
    const std::string twoTexts = std::string("\0\2en\3\xE4", 6) + std::string(996, 't');
    const Wire values[] = {
        Wire().value(0x21, "", {0, 0, 0, 1}), Wire().value(0x10, "", ""),
        Wire().value(0x44, "", long_),        Wire().value(0x35, "", twoTexts),
        Wire().value(0x7F, "", long_),        Wire().value(0x44, "no-such-name", "")};
    for (const Wire& value : values) {
        const auto message = newIppMessage();
        IppReader reader(*message, IppReadMode::response,
                         {.keepUnknownKinds = true, .maxStoredBytes = 20000});
        const Bytes start = responseHeader().u8({0x01}).value(0x21, "copies", {0, 0, 0, 1}).bytes();
        EXPECT_EQ(reader.feed(start.data(), start.size()), 0);
        int result = 0;
        int fedValues = 0;
        for (; result == 0 && fedValues < 10000; ++fedValues) {
            result = reader.feed(value.bytes().data(), value.bytes().size());
        }
        EXPECT_EQ(result, -2);
        EXPECT_GT(fedValues, 10);
    }
}

}  // namespace
}  // namespace velmora::testing
