#include "platform/registry.h"

#include <gtest/gtest.h>

#include <cstring>

#include "harness/clean_state.h"

namespace velmora {
namespace {

using testing::readRegistry;
using testing::writeRegistryRaw;

const std::string kKey = "Software\\VelmoraTest\\Sub";

std::vector<std::byte> bytesOf(const char* text, std::size_t size) {
    std::vector<std::byte> bytes(size);
    std::memcpy(bytes.data(), text, size);
    return bytes;
}

using Registry = testing::CleanStateTest;

TEST_F(Registry, MissingKeyReadsAsEmptyAndIgnoresWrites) {
    const RegistryKey key = RegistryKey::open(kKey);
    EXPECT_FALSE(key);
    RegistryValue value;
    std::string name;
    EXPECT_FALSE(key.enumValue(0, value));
    EXPECT_NE(key.enumSubkey(0, name), ERROR_SUCCESS);
    EXPECT_FALSE(key.query("x", {}));
    EXPECT_FALSE(key.setText("x", "y"));
    EXPECT_FALSE(key.setBinary("x", {}));
    EXPECT_FALSE(key.deleteValue("x"));
    RegistryKey::deleteTree(kKey);
}

TEST_F(Registry, ValuesOfEverySizeAreEnumeratedWhole) {
    const std::size_t sizes[] = {0, 1, 1023, 1024, 1025, 70000, 3};
    for (const std::size_t size : sizes)
        writeRegistryRaw(kKey, "v" + std::to_string(100000 + size), REG_BINARY,
                         std::vector<std::byte>(size, std::byte{0x5A}));
    const RegistryKey key = RegistryKey::open(kKey);
    RegistryValue value;
    DWORD count = 0;
    for (; key.enumValue(count, value); ++count) {
        const std::size_t size = std::stoul(std::string(value.name().substr(1))) - 100000;
        EXPECT_EQ(std::vector(value.data().begin(), value.data().end()),
                  std::vector<std::byte>(size, std::byte{0x5A}));
        EXPECT_EQ(value.type(), static_cast<DWORD>(REG_BINARY));
    }
    EXPECT_EQ(count, std::size(sizes));
}

TEST_F(Registry, TextIsStoredWithItsTerminator) {
    const RegistryKey key = RegistryKey::create(kKey);
    EXPECT_TRUE(key.setText("text", "ab"));
    EXPECT_TRUE(key.setText("empty", ""));
    unsigned long type = 0;
    EXPECT_EQ(readRegistry(kKey, "text", &type), bytesOf("ab\0", 3));
    EXPECT_EQ(type, static_cast<unsigned long>(REG_SZ));
    EXPECT_EQ(readRegistry(kKey, "empty"), bytesOf("\0", 1));
}

TEST_F(Registry, QueryReportsTheSizeAndRefusesWhatDoesNotFit) {
    const RegistryKey key = RegistryKey::create(kKey);
    key.setBinary("v", bytesOf("1234", 4));
    std::byte area[8] = {};
    EXPECT_EQ(key.query("v", area), 4u);
    EXPECT_EQ(std::memcmp(area, "1234", 4), 0);
    EXPECT_FALSE(key.query("v", std::span(area, 3)));
    EXPECT_FALSE(key.query("missing", area));
}

TEST_F(Registry, DeleteTreeTakesSubkeysToo) {
    RegistryKey::create(kKey + "\\a\\b");
    RegistryKey::deleteTree("Software\\VelmoraTest");
    EXPECT_FALSE(RegistryKey::open("Software\\VelmoraTest"));
}

TEST_F(Registry, SubkeysAreEnumeratedToTheEnd) {
    RegistryKey::create(kKey + "\\a");
    RegistryKey::create(kKey + "\\b");
    const RegistryKey key = RegistryKey::open(kKey);
    std::string name;
    EXPECT_EQ(key.enumSubkey(0, name), ERROR_SUCCESS);
    EXPECT_EQ(name, "a");
    EXPECT_EQ(key.enumSubkey(1, name), ERROR_SUCCESS);
    EXPECT_EQ(name, "b");
    EXPECT_EQ(key.enumSubkey(2, name), ERROR_NO_MORE_ITEMS);
}

}  // namespace
}  // namespace velmora
