#include "monitor/delivery_output.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <aclapi.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "monitor/event_log.h"
#include "platform/handle.h"
#include "port/delivery_directory.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kOneMiB = 1;
constexpr std::size_t kQuarter = 256 * 1024;

class RecordFiles : public testing::Test {
  protected:
    RecordFiles() {
        fs::remove_all(path);
        fs::create_directories(path);
    }
    ~RecordFiles() override { fs::remove_all(path); }

    bool append(const std::string& line) const {
        return appendToRecord(path.string(), line, kOneMiB);
    }
    std::string content(unsigned age) const {
        std::ifstream file(path / deliveryFileName(age), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void put(unsigned age, const std::string& bytes) const {
        std::ofstream(path / deliveryFileName(age), std::ios::binary) << bytes;
    }
    bool exists(unsigned age) const { return fs::exists(path / deliveryFileName(age)); }
    /// Opens the file without FILE_SHARE_DELETE, so that it cannot be moved.
    HANDLE lockFile(unsigned age) const {
        return CreateFileA((path / deliveryFileName(age)).string().c_str(), GENERIC_READ,
                           FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    }

    const fs::path path = fs::temp_directory_path() / "velmora-record";
};

TEST_F(RecordFiles, ALineIsAppended) {
    EXPECT_TRUE(append("one\n"));
    EXPECT_TRUE(append("two\n"));
    EXPECT_EQ(content(0), "one\ntwo\n");
    EXPECT_FALSE(exists(1));
}

TEST_F(RecordFiles, APartOfALineIsEndedFirst) {
    put(0, "one\n{\"time\":");
    EXPECT_TRUE(append("two\n"));
    EXPECT_EQ(content(0), "one\n{\"time\":\ntwo\n");
}

TEST_F(RecordFiles, AFileAsLargeAsAQuarterMovesOn) {
    put(0, std::string(kQuarter - 5, 'x') + "\n");
    EXPECT_TRUE(append("abc\n"));
    EXPECT_EQ(content(0).size(), kQuarter);
    EXPECT_TRUE(append("d\n"));
    EXPECT_EQ(content(0), "d\n");
    EXPECT_EQ(content(1).size(), kQuarter);
}

TEST_F(RecordFiles, OlderFilesMoveOnAndTheOldestIsGone) {
    put(0, std::string(kQuarter, '0'));
    put(1, "1");
    put(2, "2");
    put(3, "3");
    EXPECT_TRUE(append("new\n"));
    EXPECT_EQ(content(0), "new\n");
    EXPECT_EQ(content(1).front(), '0');
    EXPECT_EQ(content(2), "1");
    EXPECT_EQ(content(3), "2");
}

TEST_F(RecordFiles, SeveralLinesAreWrittenAtOnceAndMoveOnInBetween) {
    const std::vector<std::string> lines(5, std::string(100 * 1024 - 1, 'x') + "\n");
    EXPECT_EQ(appendToRecord(path.string(), lines, kOneMiB), 5u);
    EXPECT_EQ(content(0).size(), 100u * 1024);
    EXPECT_EQ(content(1).size(), 200u * 1024);
    EXPECT_EQ(content(2).size(), 200u * 1024);
    EXPECT_FALSE(exists(3));
    const UniqueEvent reader(lockFile(0));
    EXPECT_EQ(appendToRecord(path.string(), lines, kOneMiB), 1u) << "the file cannot move on";
    EXPECT_EQ(content(0).size(), 200u * 1024);
}

TEST_F(RecordFiles, AGapAmongTheOlderFilesDoesNoHarm) {
    put(0, std::string(kQuarter, '0'));
    put(3, "3");
    EXPECT_TRUE(append("new\n"));
    EXPECT_EQ(content(1).front(), '0');
    EXPECT_FALSE(exists(2));
}

TEST_F(RecordFiles, AFileThatCannotMoveKeepsItsBound) {
    put(0, std::string(kQuarter, 'x'));
    put(2, "2");
    put(3, "3");
    for (const unsigned held : {0u, 3u}) {
        const UniqueEvent reader(lockFile(held));
        EXPECT_FALSE(append("lost\n"));
        EXPECT_EQ(content(0).size(), kQuarter);
        EXPECT_EQ(content(2), "2");
        EXPECT_EQ(content(3), "3");
    }
    EXPECT_TRUE(append("written\n"));
    EXPECT_EQ(content(0), "written\n");
}

TEST_F(RecordFiles, AMissingOrUnusableDirectoryIsAFailure) {
    EXPECT_FALSE(appendToRecord((path / "missing").string(), "line\n", kOneMiB));
    put(0, "a file");
    EXPECT_FALSE(appendToRecord((path / deliveryFileName(0)).string(), "line\n", kOneMiB));
}

TEST_F(RecordFiles, SeveralWritersLoseNothing) {
    constexpr int kWriters = 4;
    constexpr int kLines = 25;
    // A file that is nearly full: one of the writers starts the next one.
    put(0, std::string(kQuarter - 600, 'x') + "\n");
    std::vector<std::thread> writers;
    for (int i = 0; i < kWriters; ++i) {
        writers.emplace_back([this, i] {
            for (int k = 0; k < kLines; ++k)
                EXPECT_TRUE(append("line " + std::to_string(100 * i + k + 1000) + "\n"));
        });
    }
    for (std::thread& writer : writers)
        writer.join();
    std::string all = content(1) + content(0);
    all.erase(0, all.find('\n') + 1);
    EXPECT_EQ(all.size(), kWriters * kLines * sizeof "line 1000");
    for (int i = 0; i < kWriters; ++i) {
        for (int k = 0; k < kLines; ++k) {
            const std::string line = "line " + std::to_string(100 * i + k + 1000) + "\n";
            const std::size_t at = all.find(line);
            ASSERT_NE(at, std::string::npos) << line;
            EXPECT_EQ(all.find(line, at + 1), std::string::npos) << line;
        }
    }
}

/// Whether the access list of a directory has an entry for everybody.
bool namesEverybody(const std::string& path) {
    std::array<BYTE, SECURITY_MAX_SID_SIZE> everybody{};
    DWORD size = static_cast<DWORD>(everybody.size());
    EXPECT_TRUE(CreateWellKnownSid(WinWorldSid, nullptr, everybody.data(), &size));
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR rights = nullptr;
    EXPECT_EQ(
        GetNamedSecurityInfoA(std::string(path).data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                              nullptr, nullptr, &list, nullptr, &rights),
        static_cast<DWORD>(ERROR_SUCCESS));
    const UniqueLocalMemory owner(rights);
    if (list == nullptr) return true;  // no list at all: everybody may do everything
    for (WORD i = 0; i < list->AceCount; ++i) {
        void* entry = nullptr;
        // Entries that allow and entries that deny have the same shape.
        if (GetAce(list, i, &entry) &&
            EqualSid(&static_cast<ACCESS_ALLOWED_ACE*>(entry)->SidStart, everybody.data())) {
            return true;
        }
    }
    return false;
}

TEST(RecordDirectory, IsNotForEverybody) {
    const std::string record = deliveryDirectory();
    fs::remove_all(record);
    ASSERT_EQ(makeDeliveryDirectory(), 0u);
    EXPECT_FALSE(namesEverybody(record));
    fs::remove_all(record);
    // By default everybody may read here.
    ASSERT_TRUE(CreateDirectoryA(record.c_str(), nullptr));
    EXPECT_TRUE(namesEverybody(record));
    EXPECT_EQ(makeDeliveryDirectory(), 0u);
    EXPECT_TRUE(namesEverybody(record)) << "a directory that is there keeps its rights";
    fs::remove_all(record);
}

TEST(DeliveryReasonInWords, TellsAllThatIsKnown) {
    DeliveryEntry entry;
    EXPECT_EQ(reasonInWords(entry), "no reason is known");
    entry.reason = {DeliveryStep::answer, 12002, 500, 0x040B};
    entry.errorText = "The operation timed out";
    EXPECT_EQ(reasonInWords(entry),
              "step answer, HTTP status 500, IPP status 0x040b "
              "(client-error-attributes-or-values-not-supported), "
              "error 12002: The operation timed out");
}

}  // namespace
}  // namespace velmora
