#include "platform/profile_file.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <cstdlib>

#include "harness/clean_state.h"
#include "platform/text.h"

namespace velmora {
namespace {

using Profile = testing::CleanStateTest;

TEST_F(Profile, ATextThatIsAskedForIsWrittenDownWithItsMnemonic) {
    const ProfileFile file(testing::settingsFilePath());
    EXPECT_EQ(lookupText(file, "Section", "User &name:\nnext"), "User &name:\nnext");
    EXPECT_EQ(file.read("Section", "User name:\\nnext"), "User &name:\\nnext");
    EXPECT_EQ(lookupText(file, "Section", "User &name:\nnext"), "User &name:\nnext");
}

TEST_F(Profile, AnotherValueIsATranslation) {
    testing::writeSettingsFile("[Section]\r\nOK=&Gut\\tso\r\n");
    const ProfileFile file(testing::settingsFilePath());
    EXPECT_EQ(lookupText(file, "Section", "&OK"), "&Gut\tso");
    EXPECT_EQ(lookupText(file, "Other", "&OK"), "&OK");
}

TEST_F(Profile, TextsAreReadByCharactersOfTheCodePage) {
    // The runs for double-byte code pages must not pass because the machine lacks the locale.
    const char* const expected = std::getenv("VELMORA_CODE_PAGE");
    ASSERT_TRUE(expected == nullptr || GetACP() == static_cast<UINT>(std::atoi(expected)));
    // The character before "reset" ends with the byte of a backslash in code page 932, the one
    // before "text" in 936, and the one before "name" in 950.
    const std::string name = toAnsi(L"\u6A5F\u80FDreset \u4E57text \u529Fname");
    EXPECT_EQ(name.find('\\') != std::string::npos, expected != nullptr);
    testing::writeSettingsFile("[S]\r\nk=" + name + "\\nnext\r\n");
    EXPECT_EQ(lookupText(ProfileFile(testing::settingsFilePath()), "S", "k"), name + "\nnext");
}

TEST_F(Profile, AnEmptyKeyGivesAnEmptyTextAndTouchesNothing) {
    const ProfileFile file(testing::settingsFilePath());
    EXPECT_EQ(lookupText(file, "Section", ""), "");
    EXPECT_EQ(lookupText(file, "Section", "&&"), "");
    EXPECT_EQ(testing::readSettingsFile(), "");
}

TEST_F(Profile, ValuesAreCutAt1023Bytes) {
    testing::writeSettingsFile("[S]\r\nk=" + std::string(3000, 'v') + "\r\n");
    EXPECT_EQ(ProfileFile(testing::settingsFilePath()).read("S", "k"), std::string(1023, 'v'));
}

TEST_F(Profile, AFileThatCannotBeWrittenLeavesTheDefault) {
    const ProfileFile file("Z:\\no such folder\\at all\\Velmora.dat");
    EXPECT_EQ(lookupText(file, "S", "text"), "text");
}

TEST(SystemDirectory, HasNoTrailingBackslash) {
    const std::string directory = systemDirectory();
    ASSERT_FALSE(directory.empty());
    EXPECT_NE(directory.back(), '\\');
}

}  // namespace
}  // namespace velmora
