#include "velmoractl/setup/spooler_setup.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "platform/handle.h"
#include "platform/registry.h"

namespace velmora::ctl {
namespace {

struct FileTraits {
    using Type = HANDLE;
    static Type empty() noexcept { return INVALID_HANDLE_VALUE; }
    static void close(Type file) noexcept { CloseHandle(file); }
};
using UniqueFile = UniqueHandle<FileTraits>;

/// A folder and a key of this test's own, removed afterwards.
class SpoolerSetup : public ::testing::Test {
  protected:
    static constexpr char kKey[] = "Software\\VelmoraSetupTest";

    SpoolerSetup() {
        char place[MAX_PATH];
        GetTempPathA(MAX_PATH, place);
        folder_ = std::string(place) + "velmora-setup-" + std::to_string(GetCurrentProcessId());
        CreateDirectoryA(folder_.c_str(), nullptr);
        RegistryKey::deleteTree(kKey);
    }
    ~SpoolerSetup() override {
        for (const char* name : {"source", "target", "target.old1"})
            DeleteFileA(path(name).c_str());
        RemoveDirectoryA(folder_.c_str());
        RegistryKey::deleteTree(kKey);
    }

    std::string path(const char* name) const { return folder_ + "\\" + name; }
    std::string write(const char* name, const char* text) const {
        std::ofstream(path(name), std::ios::binary) << text;
        return path(name);
    }
    std::string read(const char* name) const {
        std::ifstream file(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /// As a program that uses the file holds it: others may read and rename it, not write.
    UniqueFile hold(const char* name) const {
        return UniqueFile(CreateFileA(path(name).c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    }

  private:
    std::string folder_;
};

TEST_F(SpoolerSetup, AFileIsCopiedOnceAndReplacedWhenItDiffers) {
    write("source", "one");
    EXPECT_EQ(placeFile(path("source"), path("target")), FileChange::copied);
    EXPECT_EQ(placeFile(path("source"), path("target")), FileChange::same);
    write("source", "two");
    EXPECT_EQ(placeFile(path("source"), path("target")), FileChange::replaced);
    EXPECT_EQ(read("target"), "two");
}

TEST_F(SpoolerSetup, AFileInUseIsMovedAside) {
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

TEST_F(SpoolerSetup, AMissingSourceIsAnErrorAndChangesNothing) {
    write("target", "old");
    EXPECT_THROW(placeFile(path("source"), path("target")), std::exception);
    EXPECT_EQ(read("target"), "old");
}

TEST_F(SpoolerSetup, RemovingAFileTellsWhetherItWasThere) {
    write("target", "old");
    EXPECT_EQ(removeFile(path("target")), FileRemoval::removed);
    EXPECT_EQ(removeFile(path("target")), FileRemoval::absent);
}

TEST_F(SpoolerSetup, AKeyIsOpenToOthersUntilItIsRestricted) {
    const std::string key = std::string(kKey) + "\\Passwords";
    EXPECT_FALSE(isRestricted(key));
    RegistryKey::create(key);
    EXPECT_FALSE(isRestricted(key));
    EXPECT_EQ(restrictKey(key), 0U);
    EXPECT_TRUE(isRestricted(key));
    EXPECT_FALSE(isRestricted(kKey));
    EXPECT_EQ(restrictKey(key), 0U);
    EXPECT_TRUE(isRestricted(key));
}

TEST_F(SpoolerSetup, RestrictingMakesAMissingKey) {
    const std::string key = std::string(kKey) + "\\Passwords";
    EXPECT_EQ(restrictKey(key), 0U);
    EXPECT_TRUE(RegistryKey::open(key));
}

TEST_F(SpoolerSetup, EmptyKeysAboveAreRemovedUpToOneThatIsInUse) {
    const std::string top = kKey;
    RegistryKey::create(top + "\\A\\B\\C");
    RegistryKey::create(top).setText("value", "of somebody else");
    RegistryKey::deleteTree(top + "\\A\\B\\C");
    removeEmptyKeys(top + "\\A\\B\\C");
    EXPECT_FALSE(RegistryKey::open(top + "\\A"));
    EXPECT_TRUE(RegistryKey::open(top));
}

}  // namespace
}  // namespace velmora::ctl
