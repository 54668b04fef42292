#include "port/port_config.h"

#include <gtest/gtest.h>

#include "harness/packed_record.h"

namespace velmora {
namespace {

PortConfig fullConfig() {
    PortConfig config;
    config.name = "Port \xE4";
    config.singleTarget = 1;
    config.printer.url = "ipp://printer/ipp";
    config.printer.useAuthentication = 1;
    config.printer.userName = "user";
    config.printer.password = "secret";
    config.targetIds = {7, 1, 0xFFFFFFFF};
    config.jobTemplate.jobPriority = 50;
    config.jobTemplate.jobHoldUntil = "night";
    config.jobTemplate.copies = 0x7FFFFFFF;
    config.jobTemplate.printerResolution = {300, 1200, 4};
    config.jobTemplate.printQuality = 5;
    config.jobTemplate.pageRanges = "1-3, 7";
    config.jobTemplate.media = "Letter";
    config.jobTemplate.orientationRequested = 6;
    config.jobTemplate.numberUp = 4;
    config.jobTemplate.sides = "duplex";
    config.jobTemplate.multipleDocumentHandling = "single-document";
    config.jobTemplate.finishings = 20;
    config.jobTemplate.jobSheets = "standard";
    config.jobTemplate.ippAttributeFidelity = 1;
    return config;
}

TEST(PortConfigRecord, DefaultPortNamedPPacksTo112Bytes) {
    PortConfig config;
    config.name = "P";
    EXPECT_EQ(packedSize(config), 112u);
    EXPECT_EQ(pack(config), testing::defaultRecord("P"));
}

TEST(PortConfigRecord, EveryByteOfAFullRecord) {
    const auto expected = testing::Bytes()
                              .text("Port \xE4")
                              .u8(1)
                              .text("ipp://printer/ipp")
                              .u8(1)
                              .text("user")
                              .text("secret")
                              .u32(3)
                              .u32(7)
                              .u32(1)
                              .u32(0xFFFFFFFF)
                              .u32(50)
                              .text("night")
                              .u32(0x7FFFFFFF)
                              .u32(300)
                              .u32(1200)
                              .u32(4)
                              .u32(5)
                              .text("1-3, 7")
                              .text("Letter")
                              .u32(6)
                              .u32(4)
                              .text("duplex")
                              .text("single-document")
                              .u32(20)
                              .text("standard")
                              .u8(1)
                              .data();
    EXPECT_EQ(pack(fullConfig()), expected);
}

TEST(PortConfigRecord, UnpackingReproducesEveryField) {
    const auto read = unpack(pack(fullConfig()));
    ASSERT_TRUE(read);
    EXPECT_EQ(*read, fullConfig());
    PortConfig withoutPassword = fullConfig();
    withoutPassword.printer.password.clear();
    EXPECT_EQ(unpack(pack(withoutPassword)), withoutPassword);
}

TEST(PortConfigRecord, OnlyTheLowByteOfTheUnitsWordCounts) {
    auto block = testing::defaultRecord("P");
    // Units come after name, flags, four texts, count, priority, "no-hold", copies and two words.
    const std::size_t units = 2 + 1 + 1 + 1 + 1 + 1 + 4 + 4 + 8 + 4 + 8;
    ASSERT_EQ(block[units], std::byte{3});
    block[units] = std::byte{4};
    block[units + 1] = std::byte{0xFF};
    block[units + 3] = std::byte{0xFF};
    const auto read = unpack(block);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->jobTemplate.printerResolution.units, 4);
}

TEST(PortConfigRecord, EveryPrefixIsRefused) {
    const auto block = pack(fullConfig());
    for (std::size_t size = 0; size < block.size(); ++size) {
        // A copy of exactly that size lets AddressSanitizer see a read past its end.
        const std::vector<std::byte> prefix(block.begin(), block.begin() + static_cast<long>(size));
        EXPECT_FALSE(unpack(prefix)) << size;
    }
}

TEST(PortConfigRecord, BytesBehindTheRecordAreIgnored) {
    auto block = pack(fullConfig());
    block.resize(block.size() + 100, std::byte{0xFF});
    EXPECT_EQ(unpack(block), fullConfig());
}

TEST(PortConfigRecord, ImpossibleCountsAreRefusedWithoutAskingForMemory) {
    for (const std::uint32_t count : {1u, 0x3FFFFFFFu, 0x40000000u, 0xFFFFFFFFu}) {
        const auto block =
            testing::Bytes().text("n").u8(0).text("").u8(0).text("").text("").u32(count).data();
        EXPECT_FALSE(unpack(block)) << count;
    }
}

TEST(PortConfigRecord, ManyTargetsAndLongTexts) {
    PortConfig config = fullConfig();
    config.targetIds.assign(20000, 5);
    config.name.assign(65536, 'n');
    EXPECT_EQ(unpack(pack(config)), config);
}

}  // namespace
}  // namespace velmora
