#include "velmoractl/setup/placed_file.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "platform/handle.h"
#include "velmoractl/setup/library_check.h"

namespace velmora::ctl {
namespace {

namespace fs = std::filesystem;

/// A folder for this test, removed afterwards.
class PlacedFileTest : public ::testing::Test {
  protected:
    PlacedFileTest() {
        fs::remove_all(folder_);
        fs::create_directories(folder_);
    }
    ~PlacedFileTest() override {
        std::error_code error;
        fs::remove_all(folder_, error);
    }

    std::string path(const std::string& name) const { return (folder_ / name).string(); }
    void write(const std::string& name, const std::string& text) const {
        std::ofstream(path(name), std::ios::binary) << text;
    }
    std::string read(const std::string& name) const {
        std::ifstream file(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::size_t files() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(folder_), fs::directory_iterator()));
    }
    /// Opened like a program that uses the file: others may read and rename it, not write.
    UniqueFile hold(const char* name) const {
        return UniqueFile(CreateFileA(path(name).c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    }

    const fs::path folder_ =
        fs::temp_directory_path() / ("velmora-placed-" + std::to_string(GetCurrentProcessId()));
};

TEST_F(PlacedFileTest, AFileIsCopiedOnceAndReplacedWhenItDiffers) {
    write("source", "one");
    EXPECT_EQ(placeFile(path("source"), path("target")), FileChange::copied);
    EXPECT_EQ(placeFile(path("source"), path("target")), FileChange::same);
    write("source", "two");
    EXPECT_EQ(placeFile(path("source"), path("target")), FileChange::replaced);
    EXPECT_EQ(read("target"), "two");
}

TEST_F(PlacedFileTest, AFileInUseIsMovedAside) {
    write("source", "new");
    write("target", "old");
    {
        const UniqueFile user = hold("target");
        ASSERT_TRUE(user);
        EXPECT_EQ(placeFile(path("source"), path("target")), FileChange::replacedInUse);
    }
    EXPECT_EQ(read("target"), "new");
    EXPECT_EQ(read("target.old1"), "old");
}

TEST_F(PlacedFileTest, AMissingSourceIsAnErrorAndChangesNothing) {
    write("target", "old");
    EXPECT_THROW(placeFile(path("source"), path("target")), std::exception);
    EXPECT_EQ(read("target"), "old");
}

TEST_F(PlacedFileTest, ACheckThatThrowsLeavesEverythingAsItWas) {
    write("source", "new");
    write("target", "old");
    EXPECT_THROW(placeFile(path("source"), path("target"),
                           [](const std::string&) { throw std::runtime_error("not this one"); }),
                 std::runtime_error);
    EXPECT_EQ(read("target"), "old");
    EXPECT_EQ(files(), 2u) << "source and target";
}

TEST_F(PlacedFileTest, TheCopyIsCheckedAndMayBeChangedBeforeItTakesThePlace) {
    write("source", "new");
    write("target", "old");
    placeFile(path("source"), path("target"), [&](const std::string& copy) {
        EXPECT_EQ(read("target"), "old");
        std::ofstream(copy, std::ios::binary | std::ios::app) << " and more";
    });
    EXPECT_EQ(read("target"), "new and more");
    EXPECT_EQ(read("source"), "new");
    EXPECT_EQ(files(), 2u);
}

TEST_F(PlacedFileTest, WhatWasNotCommittedIsGoneAndWhatWasCanBeUndone) {
    write("source", "new");
    write("target", "old");
    { const PlacedFile never(path("source"), path("target")); }
    EXPECT_EQ(read("target"), "old");
    EXPECT_EQ(files(), 2u);
    {
        PlacedFile file(path("source"), path("target"));
        file.keepOld();
        EXPECT_EQ(file.commit(), FileChange::replaced);
        EXPECT_EQ(read("target"), "new");
        file.undo();
    }
    EXPECT_EQ(read("target"), "old");
    {
        PlacedFile file(path("source"), path("fresh"));
        file.keepOld();
        EXPECT_EQ(file.commit(), FileChange::copied);
        file.undo();
    }
    EXPECT_EQ(files(), 2u);
}

/// Files of every kind that is not the library for this Windows.
class LibraryCheck : public PlacedFileTest {
  protected:
    static std::string built(const char* name) {
        wchar_t program[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, program, MAX_PATH);
        std::ifstream file(fs::path(program).parent_path() / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /// Why the file is refused; empty if it is taken.
    std::string refusal(const std::string& contents, Downgrade downgrade = Downgrade::refused) {
        write("Velmora.dll", contents);
        try {
            checkLibrary(path("Velmora.dll"), "Velmora.dll", path("installed.dll"), downgrade);
            return {};
        } catch (const std::exception& error) {
            return error.what();
        }
    }
    /// The same library with another version in its resource, and without a checksum in its
    /// headers.
    std::string versioned(unsigned char major) const {
        std::string bytes = library_;
        const std::string signature("\xBD\x04\xEF\xFE", 4);  // VS_FIXEDFILEINFO
        const std::size_t fixed = bytes.find(signature);
        EXPECT_NE(fixed, std::string::npos);
        bytes[fixed + 10] = static_cast<char>(major);
        return withoutSum(bytes);
    }
    static std::string withoutSum(std::string bytes) {
        const auto headers = static_cast<unsigned char>(bytes[0x3C]) +
                             256u * static_cast<unsigned char>(bytes[0x3D]);
        bytes.replace(headers + 4 + 20 + 64, 4, std::string(4, '\0'));
        return bytes;
    }

    const std::string library_ = built("Velmora.dll");
};

TEST_F(LibraryCheck, TakesTheLibrary) {
    ASSERT_GT(library_.size(), 100000u);
    EXPECT_EQ(refusal(library_), "");
    EXPECT_EQ(refusal(withoutSum(library_)), "");
}

TEST_F(LibraryCheck, RefusesFilesOfOtherKinds) {
    for (const std::string& contents :
         {std::string(), std::string("MZ"), std::string("[Strings]\r\nPort Monitor Name=x\r\n"),
          std::string(100000, '\0'), library_.substr(0, 200), "#" + library_})
        EXPECT_NE(refusal(contents), "");
    EXPECT_NE(refusal(built("velmoractl.exe")).find("program"), std::string::npos);
    EXPECT_NE(refusal(built("planted_library.dll")).find("port monitor"), std::string::npos);
    std::string other = withoutSum(library_);
    const auto headers =
        static_cast<unsigned char>(other[0x3C]) + 256u * static_cast<unsigned char>(other[0x3D]);
    other.replace(headers + 4, 2, sizeof(void*) == 4 ? "\x64\x86" : "\x4C\x01");
    EXPECT_NE(refusal(other).find("-bit Windows"), std::string::npos);
    std::string foreign = withoutSum(library_);
    const std::string product("P\0r\0o\0d\0u\0c\0t\0N\0a\0m\0e\0", 22);
    const std::size_t name = foreign.find(product);
    ASSERT_NE(name, std::string::npos);
    foreign[foreign.find('V', name)] = 'W';
    EXPECT_NE(refusal(foreign).find("not a Velmora.dll"), std::string::npos);
}

TEST_F(LibraryCheck, RefusesTornAndDamagedOnes) {
    for (std::size_t size = 0; size < library_.size(); size += 20011)
        EXPECT_NE(refusal(library_.substr(0, size)), "") << size;
    std::string flipped = library_;
    flipped[flipped.size() / 2] ^= 1;
    EXPECT_NE(refusal(flipped).find("damaged"), std::string::npos);
}

TEST_F(LibraryCheck, RefusesAnOlderVersionUnlessAllowed) {
    write("installed.dll", versioned(9));
    EXPECT_NE(refusal(library_).find("older"), std::string::npos);
    EXPECT_EQ(refusal(library_, Downgrade::allowed), "");
    write("installed.dll", "a broken file");
    EXPECT_EQ(refusal(library_), "");
    write("installed.dll", library_);
    EXPECT_EQ(refusal(versioned(9)), "");
}

}  // namespace
}  // namespace velmora::ctl
