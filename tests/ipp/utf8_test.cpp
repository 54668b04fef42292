#include "ipp/utf8.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "ipp/charset_conversion.h"

namespace velmora {
namespace {

constexpr int kAreaSize = 10240;
constexpr CharsetConversion kSystem;

std::string repeated(const std::string& text, std::size_t count) {
    std::string result;
    for (std::size_t i = 0; i < count; ++i)
        result += text;
    return result;
}

/// Both ways: with the functions found at the program's start, and with the system's own.
void expectConversion(const std::string& ansi, const std::string& utf8) {
    EXPECT_EQ(ansiToUtf8(ansi), utf8);
    EXPECT_EQ(ansiToUtf8(ansi, kSystem), utf8);
}

class AnsiToUtf8 : public testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(GetACP(), 1252u) << "the expected texts are of this page"; }
};

TEST_F(AnsiToUtf8, AsciiStaysAsItIs) {
    expectConversion("", "");
    expectConversion("user name", "user name");
    expectConversion("\x01\x7F", "\x01\x7F");
}

TEST_F(AnsiToUtf8, OtherCharactersTakeTwoOrThreeBytes) {
    expectConversion("J\xF6rg M\xFCller", "J\xC3\xB6rg M\xC3\xBCller");
    expectConversion("\x80 5", "\xE2\x82\xAC 5");
}

TEST_F(AnsiToUtf8, TextEndsAtItsFirstNul) {
    expectConversion(std::string("ab\0cd", 5), "ab");
}

TEST_F(AnsiToUtf8, LongTextsAreCutToTheAreas) {
    expectConversion(std::string(10238, 'n'), std::string(10238, 'n'));
    expectConversion(std::string(10239, 'n'), std::string(10239, 'n'));
    expectConversion(std::string(10240, 'n'), std::string(10239, 'n'));
    expectConversion(std::string(50000, 'n'), std::string(10239, 'n'));
}

TEST_F(AnsiToUtf8, CutLeavesWholeCharacters) {
    expectConversion(std::string(5119, '\xE4'), repeated("\xC3\xA4", 5119));
    expectConversion(std::string(5120, '\xE4'), repeated("\xC3\xA4", 5119));
    expectConversion(std::string(10239, '\xE4'), repeated("\xC3\xA4", 5119));
    expectConversion(std::string(50000, '\xE4'), repeated("\xC3\xA4", 5119));
    expectConversion(std::string(3413, '\x80'), repeated("\xE2\x82\xAC", 3413));
    expectConversion(std::string(3414, '\x80'), repeated("\xE2\x82\xAC", 3413));
    expectConversion("a" + std::string(3413, '\x80'), "a" + repeated("\xE2\x82\xAC", 3412));
    expectConversion("ab" + std::string(3413, '\x80'), "ab" + repeated("\xE2\x82\xAC", 3412));
}

// Stand-ins for the library's functions.

int WINAPI failToWide(UINT, DWORD, LPCCH, int, LPWSTR, int) {
    return 0;
}
int WINAPI failFromWide(UINT, DWORD, LPCWCH, int, LPSTR, int, LPCCH, LPBOOL) {
    return 0;
}

/// Fills the buffer to its last element and then fails because it is too small.
int WINAPI overfillWide(UINT, DWORD, LPCCH, int, LPWSTR area, int size) {
    for (int i = 0; i < size; ++i)
        area[i] = L'w';
    return 0;
}

const char* filling = "";
/// Fills the buffer with `filling` over and over, to its last byte, and then fails because it is
/// too small.
int WINAPI overfillUtf8(UINT, DWORD, LPCWCH, int, LPSTR area, int size, LPCCH, LPBOOL) {
    const std::size_t length = std::strlen(filling);
    for (int i = 0; i < size; ++i)
        area[i] = filling[static_cast<std::size_t>(i) % length];
    return 0;
}

TEST(AnsiToUtf8Failing, CallsThatWriteNothingGiveAnEmptyText) {
    EXPECT_EQ(ansiToUtf8("text", {.fromWide = nullptr, .toWide = failToWide}), "");
    EXPECT_EQ(ansiToUtf8("text", {.fromWide = failFromWide, .toWide = nullptr}), "");
    EXPECT_EQ(ansiToUtf8("text", {.fromWide = failFromWide, .toWide = failToWide}), "");
}

TEST(AnsiToUtf8Failing, AreaWithoutTerminatorIsCutBeforeItsLastElement) {
    EXPECT_EQ(ansiToUtf8("text", {.fromWide = nullptr, .toWide = overfillWide}),
              std::string(kAreaSize - 1, 'w'));
    filling = "u";
    EXPECT_EQ(ansiToUtf8("text", {.fromWide = overfillUtf8, .toWide = nullptr}),
              std::string(kAreaSize - 1, 'u'));
}

wchar_t lastWide = 0;

int WINAPI lookAtTheLastWide(UINT page, DWORD flags, LPCWCH text, int length, LPSTR area, int size,
                             LPCCH defaultCharacter, LPBOOL used) {
    lastWide = text[kAreaSize - 1];
    if (lastWide != L'\0') return 0;
    return WideCharToMultiByte(page, flags, text, length, area, size, defaultCharacter, used);
}

TEST(AnsiToUtf8Failing, WideTextEndsInItsArea) {
    lastWide = L'?';
    EXPECT_EQ(ansiToUtf8("text", {.fromWide = lookAtTheLastWide, .toWide = overfillWide}),
              std::string(kAreaSize - 1, 'w'));
    EXPECT_EQ(lastWide, L'\0');
}

TEST(AnsiToUtf8Failing, CharacterCutInTwoIsDropped) {
    // 10,239 bytes of the buffer are usable: characters of two and four bytes leave a part, those
    // of three fit exactly.
    const std::pair<const char*, std::size_t> characters[] = {
        {"\xC3\xA4", 10238}, {"\xE2\x82\xAC", 10239}, {"\xF0\x9F\x96\xA8", 10236}};
    for (const auto& [character, size] : characters) {
        filling = character;
        const std::string text = ansiToUtf8("t", {.fromWide = overfillUtf8, .toWide = nullptr});
        EXPECT_EQ(text, repeated(character, size / std::strlen(character)));
    }
}

struct Call {
    UINT codePage;
    DWORD flags;
    int inputLength;
    int areaSize;
    bool defaultCharacter;
};
Call wideCall, utf8Call;

int WINAPI recordToWide(UINT page, DWORD flags, LPCCH text, int length, LPWSTR area, int size) {
    wideCall = {page, flags, length, size, false};
    return MultiByteToWideChar(page, flags, text, length, area, size);
}
int WINAPI recordFromWide(UINT page, DWORD flags, LPCWCH text, int length, LPSTR area, int size,
                          LPCCH defaultCharacter, LPBOOL used) {
    utf8Call = {page, flags, length, size, defaultCharacter != nullptr || used != nullptr};
    return WideCharToMultiByte(page, flags, text, length, area, size, defaultCharacter, used);
}

TEST(AnsiToUtf8Calls, FunctionsThatAreSetServe) {
    wideCall = utf8Call = {};
    EXPECT_EQ(ansiToUtf8("text", {.fromWide = recordFromWide, .toWide = recordToWide}), "text");
    EXPECT_EQ(wideCall.codePage, 0u);
    EXPECT_EQ(wideCall.flags, 0u);
    EXPECT_EQ(wideCall.inputLength, -1);
    EXPECT_EQ(wideCall.areaSize, kAreaSize);
    EXPECT_EQ(utf8Call.codePage, 65001u);
    EXPECT_EQ(utf8Call.flags, 0u);
    EXPECT_EQ(utf8Call.inputLength, -1);
    EXPECT_EQ(utf8Call.areaSize, kAreaSize);
    EXPECT_FALSE(utf8Call.defaultCharacter);
}

TEST(AnsiToUtf8Calls, EachFunctionIsChosenForItself) {
    wideCall = utf8Call = {};
    EXPECT_EQ(ansiToUtf8("text", {.fromWide = recordFromWide, .toWide = nullptr}), "text");
    EXPECT_EQ(wideCall.areaSize, 0);
    EXPECT_EQ(utf8Call.areaSize, kAreaSize);
    utf8Call = {};
    EXPECT_EQ(ansiToUtf8("text", {.fromWide = nullptr, .toWide = recordToWide}), "text");
    EXPECT_EQ(wideCall.areaSize, kAreaSize);
    EXPECT_EQ(utf8Call.areaSize, 0);
}

}  // namespace
}  // namespace velmora
