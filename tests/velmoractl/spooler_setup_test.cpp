#include "velmoractl/setup/spooler_setup.h"

#include <gtest/gtest.h>

#include <fstream>

#include "platform/registry.h"

namespace velmora::ctl {
namespace {

/// A folder and a key for this test, removed afterwards.
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
        DeleteFileA(path("target").c_str());
        RemoveDirectoryA(folder_.c_str());
        RegistryKey::deleteTree(kKey);
    }

    std::string path(const char* name) const { return folder_ + "\\" + name; }
    std::string write(const char* name, const char* text) const {
        std::ofstream(path(name), std::ios::binary) << text;
        return path(name);
    }

  private:
    std::string folder_;
};

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
