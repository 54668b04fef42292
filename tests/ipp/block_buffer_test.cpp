#include "ipp/block_buffer.h"

#include <gtest/gtest.h>

#include <vector>

namespace velmora {
namespace {

std::vector<std::uint8_t> pattern(std::size_t size) {
    std::vector<std::uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<std::uint8_t>(i * 31 + i / 256);
    return bytes;
}

std::vector<std::uint8_t> flattened(const IppBlockBuffer& buffer) {
    std::vector<std::uint8_t> bytes(buffer.size());
    buffer.flatten(bytes.data());
    return bytes;
}

TEST(BlockBuffer, NewOneIsEmpty) {
    const UniqueIppBlockBuffer buffer = newIppBlockBuffer();
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(buffer->size(), 0u);
    EXPECT_TRUE(flattened(*buffer).empty());
}

TEST(BlockBuffer, FlattensWhatWasAppendedInOnePiece) {
    for (const std::size_t size : {0u, 1u, 511u, 512u, 513u, 1023u, 1024u, 1025u, 100000u}) {
        IppBlockBuffer buffer;
        const auto bytes = pattern(size);
        EXPECT_TRUE(buffer.append(bytes.data(), size));
        EXPECT_EQ(buffer.size(), size);
        EXPECT_EQ(flattened(buffer), bytes) << size;
    }
}

TEST(BlockBuffer, FlattensWhatWasAppendedInPieces) {
    const auto bytes = pattern(5000);
    for (const std::size_t piece : {1u, 7u, 256u, 511u, 512u, 513u, 1500u}) {
        IppBlockBuffer buffer;
        for (std::size_t at = 0; at < bytes.size(); at += piece) {
            EXPECT_TRUE(buffer.append(bytes.data() + at, std::min(piece, bytes.size() - at)));
            EXPECT_EQ(buffer.size(), std::min(at + piece, bytes.size()));
        }
        EXPECT_EQ(flattened(buffer), bytes) << piece;
    }
}

TEST(BlockBuffer, TotalBeyond32BitsIsRefusedWithNothingRead) {
    IppBlockBuffer buffer;
    EXPECT_TRUE(buffer.append("ab", 2));
    EXPECT_FALSE(buffer.append("c", 0xFFFFFFFEu));
    EXPECT_EQ(flattened(buffer), (std::vector<std::uint8_t>{'a', 'b'}));
}

TEST(BlockBuffer, InPlaceWritesAreTakenByAdvance) {
    IppBlockBuffer buffer;
    const auto bytes = pattern(510);
    EXPECT_TRUE(buffer.append(bytes.data(), bytes.size()));
    ASSERT_EQ(buffer.room(), 2u);
    std::uint8_t* const place = buffer.position();
    place[0] = 0xAA;
    place[1] = 0xBB;
    buffer.advance(place + 2);
    EXPECT_EQ(buffer.room(), 0u);
    EXPECT_TRUE(buffer.append("c", 1));
    auto expected = bytes;
    expected.insert(expected.end(), {0xAA, 0xBB, 'c'});
    EXPECT_EQ(flattened(buffer), expected);
}

}  // namespace
}  // namespace velmora
