// The record as the monitor writes it and the tool reads it.
#include "velmoractl/delivery_files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "harness/wininet/import_patch.h"
#include "monitor/delivery_output.h"
#include "port/delivery_record.h"

namespace velmora::ctl {
namespace {

namespace fs = std::filesystem;
using velmora::testing::ImportPatch;

constexpr std::uint32_t kOneMiB = 1;
constexpr std::size_t kQuarter = 256 * 1024;
constexpr unsigned kFilling = 0;  ///< lines that fill a file and are not compared

std::string lineOf(unsigned number, std::size_t length = 0) {
    DeliveryEntry entry;
    entry.port = "P";
    entry.document = std::to_string(number) + std::string(length, '.');
    entry.printer = "ipp://printer.example/";
    return deliveryLine(entry);
}

/// The files of a directory with their contents.
using Snapshot = std::map<std::string, std::string>;

Snapshot snapshot(const fs::path& directory) {
    Snapshot files;
    for (const auto& entry : fs::directory_iterator(directory)) {
        std::ifstream file(entry.path(), std::ios::binary);
        files[entry.path().filename().string()] = {std::istreambuf_iterator<char>(file), {}};
    }
    return files;
}

/// The files before each of the writer's system calls: a process that is killed leaves exactly one
/// of these states.
std::function<void()> beforeCall;
std::function<void(HANDLE, const char*, DWORD)> insteadOfWriting;

HANDLE WINAPI createFile(const char* name, DWORD access, DWORD share, SECURITY_ATTRIBUTES* rights,
                         DWORD creation, DWORD flags, HANDLE pattern) {
    beforeCall();
    return CreateFileW(fs::path(name).wstring().c_str(), access, share, rights, creation, flags,
                       pattern);
}
BOOL WINAPI moveFile(const char* from, const char* to, DWORD flags) {
    beforeCall();
    return MoveFileExW(fs::path(from).wstring().c_str(), fs::path(to).wstring().c_str(), flags);
}
BOOL WINAPI writeFile(HANDLE file, const void* bytes, DWORD size, DWORD* written, OVERLAPPED*) {
    beforeCall();
    insteadOfWriting(file, static_cast<const char*>(bytes), size);
    *written = size;
    return TRUE;
}

template <class Function>
void (*plain(Function* function))() {
    return reinterpret_cast<void (*)()>(function);
}

class RecordAsRead : public ::testing::Test {
  protected:
    RecordAsRead() { clear(); }
    ~RecordAsRead() override { fs::remove_all(path); }

    void clear() const {
        fs::remove_all(path);
        fs::create_directories(path);
    }
    void put(const Snapshot& files) const {
        clear();
        for (const auto& [name, bytes] : files)
            std::ofstream(path / name, std::ios::binary) << bytes;
    }
    bool append(const std::string& line) const {
        return appendToRecord(path.string(), line, kOneMiB);
    }
    /// The documents' numbers in the order of the record, without the filling.
    static std::vector<std::string> documents(DeliveryFiles& files) {
        std::vector<std::string> found;
        for (const DeliveryLine& line : files.read()) {
            found.push_back(line.document.substr(0, line.document.find('.')));
            if (found.back() == std::to_string(kFilling)) found.pop_back();
        }
        return found;
    }

    const fs::path path = fs::temp_directory_path() / "velmora-read";
};

using Documents = std::vector<std::string>;

/// Every state in which a writer that is killed can leave the files.
class KilledWriter : public RecordAsRead {
  protected:
    std::vector<Snapshot> statesOf(const std::string& line) {
        std::vector<Snapshot> states;
        std::ofstream written;
        {
            const ImportPatch create("kernel32.dll", "CreateFileA", plain(createFile));
            const ImportPatch move("kernel32.dll", "MoveFileExA", plain(moveFile));
            const ImportPatch write("kernel32.dll", "WriteFile", plain(writeFile));
            beforeCall = [&] { states.push_back(snapshot(path)); };
            // A write may have reached any byte.
            insteadOfWriting = [&](HANDLE file, const char* bytes, DWORD size) {
                for (DWORD i = 0; i < size; ++i) {
                    DWORD count = 0;
                    SetFilePointer(file, 0, nullptr, FILE_END);
                    original_(file, bytes + i, 1, &count, nullptr);
                    if (i % 64 == 0 || i + 2 >= size) states.push_back(snapshot(path));
                }
            };
            EXPECT_TRUE(append(line));
        }
        states.push_back(snapshot(path));
        return states;
    }

  private:
    decltype(&WriteFile) original_ = &WriteFile;
};

TEST_F(KilledWriter, DamagesTheLastLineAtMost) {
    for (const bool rotates : {false, true}) {
        SCOPED_TRACE(rotates ? "a line that makes the files move on" : "a line");
        clear();
        ASSERT_TRUE(append(lineOf(1)));
        ASSERT_TRUE(append(lineOf(2)));
        if (rotates) {
            std::ofstream file(path / deliveryFileName(0), std::ios::binary | std::ios::app);
            std::size_t size = 2 * lineOf(1).size();
            for (const std::size_t length : {3800, 0}) {
                const std::string filling = lineOf(kFilling, length);
                for (; size + filling.size() <= kQuarter; size += filling.size())
                    file << filling;
            }
        }
        const std::vector<Snapshot> states = statesOf(lineOf(3));
        EXPECT_GT(states.size(), rotates ? 12u : 6u);
        bool seenBefore = false;
        bool seenAfter = false;
        for (const Snapshot& state : states) {
            put(state);
            DeliveryFiles files(path.string());
            const Documents first = documents(files);
            const bool whole = first.size() == 3;
            EXPECT_EQ(first, whole ? (Documents{"1", "2", "3"}) : (Documents{"1", "2"}));
            EXPECT_EQ(files.damaged(), 0u);
            seenBefore |= !whole;
            seenAfter |= whole;
            // The next writer goes on, and a reader that has been running all the time sees its
            // line. If only the line feed was missing, this completes the line before.
            ASSERT_TRUE(append(lineOf(4)));
            const Documents later = documents(files);
            ASSERT_FALSE(later.empty());
            const bool mended = later.front() == "3";
            EXPECT_EQ(later, mended ? (Documents{"3", "4"}) : Documents{"4"});
            EXPECT_LE(files.damaged(), 1u);
            DeliveryFiles anew(path.string());
            EXPECT_EQ(documents(anew), whole || mended ? (Documents{"1", "2", "3", "4"})
                                                       : (Documents{"1", "2", "4"}));
            EXPECT_LE(anew.damaged(), 1u);
        }
        EXPECT_TRUE(seenBefore && seenAfter);
    }
}

TEST_F(RecordAsRead, SkippingLeavesOutWhatIsThere) {
    ASSERT_TRUE(append(lineOf(1)));
    DeliveryFiles files(path.string());
    files.skip();
    EXPECT_TRUE(files.found());
    EXPECT_EQ(documents(files), Documents());
    ASSERT_TRUE(append(lineOf(2)));
    EXPECT_EQ(documents(files), Documents{"2"});
}

TEST_F(RecordAsRead, SkippingWithoutARecordReadsAllThatComes) {
    DeliveryFiles files(path.string());
    files.skip();
    EXPECT_FALSE(files.found());
    ASSERT_TRUE(append(lineOf(1)));
    EXPECT_EQ(documents(files), Documents{"1"});
}

TEST_F(RecordAsRead, SkippingSeesTheFilesMoveOn) {
    ASSERT_TRUE(append(lineOf(1, 3000)));
    DeliveryFiles files(path.string());
    files.skip();
    Documents expected;
    // Three times a quarter: what was skipped is the oldest but one.
    for (unsigned number = 2; number < 240; ++number) {
        ASSERT_TRUE(append(lineOf(number, 3000)));
        expected.push_back(std::to_string(number));
        if (number == 100) {
            EXPECT_EQ(documents(files), expected);
            expected.clear();
        }
    }
    EXPECT_TRUE(fs::exists(path / deliveryFileName(2)));
    EXPECT_EQ(documents(files), expected);
    EXPECT_EQ(files.damaged(), 0u);
}

}  // namespace
}  // namespace velmora::ctl
