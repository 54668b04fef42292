#include "ipp/chunk.h"

#include <gtest/gtest.h>

#include <string>

namespace velmora {
namespace {

TEST(ChunkFrame, SizeIsInHexadecimalDigitsWithoutLeadingZeros) {
    EXPECT_EQ(ChunkFrame(0).sizeLine(), "0\r\n");
    EXPECT_EQ(ChunkFrame(15).sizeLine(), "f\r\n");
    EXPECT_EQ(ChunkFrame(16).sizeLine(), "10\r\n");
    EXPECT_EQ(ChunkFrame(0x10000).sizeLine(), "10000\r\n");
    const std::string largest(2 * sizeof(std::size_t), 'f');
    EXPECT_EQ(ChunkFrame(~std::size_t{0}).sizeLine(), largest + "\r\n");
}

TEST(ChunkFrame, DataOfAChunkIsWhatWasFramed) {
    for (const std::string data : {"x", "\n", "\r\n", "a\r\nb\r\n", ""}) {
        const ChunkFrame frame(data.size());
        const std::string chunk = std::string(frame.sizeLine()) + data + "\r\n";
        const auto found = dataOfChunk(std::as_bytes(std::span(chunk)));
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(found.data()), found.size()), data);
    }
}

}  // namespace
}  // namespace velmora
