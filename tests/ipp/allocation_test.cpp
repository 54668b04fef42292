#include <gtest/gtest.h>

#include <array>
#include <string>

#include "harness/allocations.h"
#include "harness/ipp_dump.h"
#include "harness/wire.h"
#include "tests/ipp/sample_messages.h"

// What happens when memory runs out at any one place, and how much is used overall.

namespace velmora::testing {
namespace {

/// Runs `action` with its first, second, ... allocation failing until it makes fewer; every run
/// must leave nothing allocated. `check` gets what `action` returned and whether an allocation
/// failed. Returns the number of allocations.
template <class Action, class Check>
std::size_t failEachAllocation(const Action& action, const Check& check) {
    for (std::size_t index = 0;; ++index) {
        const std::size_t before = allocationCounts().live;
        bool happened = false;
        {
            const FailingAllocation failing(index);
            auto result = action();
            happened = failing.happened();
            check(result, happened);
        }
        EXPECT_EQ(allocationCounts().live, before) << "leak when allocation " << index << " fails";
        if (!happened || ::testing::Test::HasFailure()) return index;
    }
}

const std::array kTexts = {"one", "two", "a somewhat longer third one"};

UniqueIppAttribute newOfKind(int kind, IppStorage* storage = nullptr) {
    static constexpr std::int32_t kNumbers[] = {1, 2, 3};
    static constexpr bool kBooleans[] = {true, false};
    static constexpr IppResolution kResolutions[] = {{600, 600, 3}, {300, 300, 4}};
    static constexpr IppRange kRanges[] = {{1, 2}, {4, 5}};
    static const IppValue kValues[2] = {};
    switch (kind) {
        case 0:
            return newIntegerAttribute(0, kNumbers, storage);
        case 1:
            return newBooleanAttribute(0, kBooleans, storage);
        case 2:
            return newEnumAttribute(0, kNumbers, storage);
        case 3:
            return newResolutionAttribute(0, kResolutions, storage);
        case 4:
            return newRangeAttribute(0, kRanges, storage);
        case 5:
            return newNameAttribute(0, kTexts, storage);
        case 6:
            return newKeywordAttribute(0, kTexts, storage);
        case 7:
            return newUriAttribute(0, kTexts, storage);
        case 8:
            return newCharsetAttribute(0, kTexts, storage);
        case 9:
            return newNaturalLanguageAttribute(0, kTexts, storage);
        default:
            return newIppAttribute(0, kValues, storage);
    }
}
constexpr int kKinds = 11;

TEST(Allocation, ConstructorThatFailsGivesNull) {
    for (int kind = 0; kind < kKinds; ++kind) {
        const std::size_t count =
            failEachAllocation([=] { return newOfKind(kind); },
                               [](const UniqueIppAttribute& attribute, bool failed) {
                                   EXPECT_EQ(attribute == nullptr, failed);
                               });
        EXPECT_EQ(count, 1u) << "kind " << kind;
    }
}

TEST(Allocation, RequestThatFailsGivesNull) {
    const auto check = [](const UniqueIppMessage& message, bool failed) {
        EXPECT_EQ(message == nullptr, failed);
    };
    EXPECT_EQ(failEachAllocation(
                  [] {
                      return newIppRequest({1, 0}, IppOperation::printJob, 1);
                  },
                  check),
              1u);
    EXPECT_EQ(failEachAllocation([] { return newIppMessage(); }, check), 1u);
}

/// A request with an attribute of every kind, and long enough for several blocks.
UniqueIppMessage buildRequest() {
    UniqueIppMessage message = newIppRequest({1, 0}, IppOperation::printJob, 1);
    if (!message) return nullptr;
    for (const IppGroup group : {IppGroup::operation, IppGroup::job}) {
        for (int kind = 0; kind < kKinds; ++kind) {
            if (!addIppAttribute(*message, group, 0, newOfKind(kind))) return nullptr;
        }
    }
    return message;
}

TEST(Allocation, MessageHalfBuiltIsFreedAsAWhole) {
    const std::size_t count =
        failEachAllocation(buildRequest, [](const UniqueIppMessage& message, bool failed) {
            EXPECT_EQ(message == nullptr, failed);
        });
    EXPECT_EQ(count, 1u + 2 * kKinds);
}

/// The same request with its attributes in the message's own storage.
UniqueIppMessage buildRequestInStorage() {
    UniqueIppMessage message = newIppRequest({1, 0}, IppOperation::printJob, 1);
    if (!message) return nullptr;
    for (const IppGroup group : {IppGroup::operation, IppGroup::job}) {
        for (int kind = 0; kind < kKinds; ++kind) {
            // One that ends up unused may be lost.
            const UniqueIppAttribute dropped = newOfKind(kind, &message->storage());
            UniqueIppAttribute attribute = newOfKind(kind, &message->storage());
            if (!dropped || !addIppAttribute(*message, group, 0, std::move(attribute))) {
                return nullptr;
            }
        }
    }
    return message;
}

TEST(Allocation, AttributesInAMessagesStorageAreWrittenAlikeAndNeedFewerBlocks) {
    EXPECT_EQ(encoded(*buildRequestInStorage(), false), encoded(*buildRequest(), false));
    const std::size_t blocks =
        failEachAllocation(buildRequestInStorage, [](const UniqueIppMessage& message, bool failed) {
            EXPECT_EQ(message == nullptr, failed);
        });
    EXPECT_GE(blocks, 3u);
    EXPECT_LE(blocks, 2u * kKinds);
}

TEST(Allocation, EncodeThatFailsGivesMinusOneAndNoBuffer) {
    const UniqueIppMessage message = buildRequest();
    struct Encoded {
        UniqueIppBlockBuffer buffer;
        int result;
    };
    const std::size_t count = failEachAllocation(
        [&] {
            Encoded encoded;
            encoded.result = encodeIppMessage(*message, false, encoded.buffer);
            return encoded;
        },
        [](const Encoded& encoded, bool failed) {
            EXPECT_EQ(encoded.result, failed ? -1 : 0);
            EXPECT_EQ(encoded.buffer == nullptr, failed);
        });
    EXPECT_GE(count, 3u);
}

TEST(Allocation, EncodeFailsWhicheverFieldIsTheFirstOfABlock) {
    // A growing text moves each of the fields after it to the start of the second block: tags,
    // lengths, texts, the delimiter of the next group and the end tag.
    for (std::size_t length = 400; length <= 520; ++length) {
        const std::string text(length, 't');
        const UniqueIppMessage message = newIppMessage();
        addIppAttribute(*message, IppGroup::operation, 0, newNameAttribute(0, text.c_str()));
        addIppAttribute(*message, IppGroup::printer, 0, newKeywordAttribute(0, kTexts));
        addIppAttribute(*message, IppGroup::job, 0, newIntegerAttribute(0, 1));
        UniqueIppBlockBuffer buffer;
        const FailingAllocation failing(1);  // the first is the buffer's own
        const int result = encodeIppMessage(*message, true, buffer);
        EXPECT_EQ(result, failing.happened() ? -1 : 0) << length;
    }
}

/// A response of many kinds whose storage takes several blocks.
Bytes largeResponse() {
    Wire wire = responseHeader();
    for (int i = 0; i < 40; ++i) {
        wire.u8({0x04})
            .value(0x44, "media-supported", std::string(200, 'm'))
            .value(0x44, "", "a3")
            .value(0x21, "x-unknown", {0, 0, 0, 1})
            .value(0x35, "printer-info", std::string_view("\0\2de\0\3abc", 9))
            .value(0x10, "copies", "");
    }
    return wire.u8({0x03}).bytes();
}

TEST(Allocation, ReaderThatCannotStoreGivesMinusTwoAndStaysThere) {
    const Bytes bytes = largeResponse();
    for (const std::size_t piece : {bytes.size(), std::size_t{1}, std::size_t{100}}) {
        const std::size_t count = failEachAllocation(
            [&] {
                UniqueIppMessage message = newIppMessage();
                if (!message) return -2;
                IppReader reader(*message, IppReadMode::response);
                int result = 0;
                bool stored = true;
                for (std::size_t at = 0; at < bytes.size(); at += piece) {
                    result = reader.feed(bytes.data() + at, std::min(piece, bytes.size() - at));
                    if (result == -2) stored = false;
                    if (!stored && result != -2) return -100;  // must not go on
                }
                return reader.complete() == (result == 1) ? result : -100;
            },
            [](int result, bool failed) { EXPECT_EQ(result, failed ? -2 : 1); });
        EXPECT_GE(count, 4u);
    }
}

TEST(Allocation, FreeingReleasesEveryMessage) {
    const std::size_t before = allocationCounts().live;
    for (const SampleMessage& sample : goodMessages()) {
        const auto response = parsed(sample.bytes);
        // Attributes of both kinds of storage in one message.
        addIppAttribute(*response.message, IppGroup::job, 0, newIntegerAttribute(0, 1));
        encoded(*response.message, true);
    }
    for (const SampleMessage& sample : badMessages())
        parsed(sample.bytes);
    EXPECT_EQ(allocationCounts().live, before);
}

TEST(Allocation, AnswerThatNeverEndsHoldsNoMoreThanTheBound) {
    constexpr IppReadPolicy kPolicy;
    const Bytes group = responseHeader().u8({0x04}).bytes();
    const Bytes endless[] = {Wire().u8({0x04}).bytes(), Wire().value(0x10, "copies", "").bytes(),
                             Wire().value(0x44, "x", std::string(1023, 'v')).bytes()};
    for (const Bytes& piece : endless) {
        const UniqueIppMessage message = newIppMessage();
        const std::size_t before = allocationCounts().liveBytes;
        IppReader reader(*message, IppReadMode::response);
        int result = reader.feed(group.data(), group.size());
        for (int i = 0; i < 300000 && result == 0; ++i) {
            result = reader.feed(piece.data(), piece.size());
        }
        // Empty groups need no memory at all.
        EXPECT_EQ(result, piece.size() == 1 ? 0 : -2);
        EXPECT_LE(allocationCounts().liveBytes - before, kPolicy.maxStoredBytes);
    }
}

TEST(Allocation, LongSetOfValuesIsWrittenAndFreed) {
    Wire wire = responseHeader().u8({0x04}).value(0x21, "copies", {0, 0, 0, 1});
    for (int i = 0; i < 60000; ++i)
        wire.value(0x21, "", {0, 0, 0, 1});
    const auto response = parsed(wire.u8({0x03}).bytes());
    EXPECT_EQ(response.result, 1);
    EXPECT_FALSE(encoded(*response.message, true).empty());
}

/// Uses up what a storage holds without a block.
void fillFirstRoom(IppStorage& storage) {
    ASSERT_NE(storage.allocate(96, 0), nullptr);
}

TEST(Storage, TakesMemoryUpToItsLimitAndNotAByteMore) {
    constexpr std::size_t kLink = sizeof(void*);  // between the blocks
    for (const std::size_t size : {8u, 64u, 256u, 280u, 288u, 304u, 1000u, 70000u}) {
        SCOPED_TRACE(size);
        const std::size_t block = size + kLink;
        for (const std::size_t limit : {block, block - 1}) {
            IppStorage storage;
            fillFirstRoom(storage);
            const std::size_t before = allocationCounts().liveBytes;
            EXPECT_EQ(storage.allocate(size, limit) != nullptr, limit == block);
            EXPECT_LE(allocationCounts().liveBytes - before, limit);
        }
        for (const std::size_t limit : {2 * block, 2 * block - 1}) {
            IppStorage storage;
            fillFirstRoom(storage);
            const std::size_t before = allocationCounts().liveBytes;
            ASSERT_NE(storage.allocate(size, block), nullptr);
            EXPECT_EQ(storage.allocateOctets(size, limit) != nullptr, limit == 2 * block);
            EXPECT_LE(allocationCounts().liveBytes - before, limit);
        }
    }
}

TEST(Storage, HoldsLittleMoreThanWhatItWasAskedFor) {
    IppStorage storage;
    const std::size_t before = allocationCounts().liveBytes;
    for (std::size_t taken = 0; taken < 2'000'000; taken += 24 + 16) {
        ASSERT_NE(storage.allocate(24, ~std::size_t{0}), nullptr);
        ASSERT_NE(storage.allocateOctets(16, ~std::size_t{0}), nullptr);
        ASSERT_LE(allocationCounts().liveBytes - before, taken + taken / 16 + 700) << taken;
    }
}

TEST(Storage, ThatIsFullTakesNothingMore) {
    for (const std::size_t limit : {0u, 1u, 100u, 1000u, 100000u}) {
        SCOPED_TRACE(limit);
        IppStorage storage;
        const std::size_t before = allocationCounts().liveBytes;
        std::size_t taken = 0;
        while (storage.allocate(16, limit) != nullptr &&
               storage.allocateOctets(5, limit) != nullptr)
            ASSERT_LE(taken += 21, limit + 96);
        EXPECT_LE(allocationCounts().liveBytes - before, limit);
        IppStorage fresh;
        EXPECT_EQ(fresh.allocateOctets(~std::size_t{0}, limit), nullptr);
    }
}

}  // namespace
}  // namespace velmora::testing
