#include <windows.h>

#include <winspool.h>

#include "harness/built_dll.h"
#include "harness/clean_state.h"
#include "harness/packed_record.h"

namespace velmora::testing {
namespace {

/// Monitor name and description of the first port at level 2.
std::pair<std::wstring, std::wstring> displayName(const Table& monitor2) {
    BYTE buffer[8192];
    DWORD needed = 0;
    DWORD returned = 0;
    const auto enumerate = monitor2.entry<EnumPorts2Entry>(1);
    EXPECT_TRUE(enumerate(nullptr, nullptr, 2, buffer, sizeof buffer, &needed, &returned));
    if (returned == 0) return {};
    const auto* info = reinterpret_cast<const PORT_INFO_2W*>(buffer);
    return {info->pMonitorName, info->pDescription};
}

class SettingsFile : public CleanStateTest {
  protected:
    const BuiltDll dll_;
};

TEST_F(SettingsFile, WithoutOneEveryTextIsItsOwnDefaultAndIsWrittenDown) {
    writeRegistryBinary(kDefaultMonitorKey + "\\Ports", "P", defaultRecord("P"));
    const auto [name, description] = displayName(dll_.monitor2());
    EXPECT_EQ(name, L"Port Monitor Name");
    EXPECT_EQ(description, L"Port Monitor Name");
    const std::string file = readSettingsFile();
    EXPECT_NE(file.find("[Strings]"), std::string::npos) << file;
    EXPECT_NE(file.find("Port Monitor Name=Port Monitor Name"), std::string::npos) << file;
    EXPECT_NE(file.find("AppRegKey=AppRegKey"), std::string::npos) << file;
}

TEST_F(SettingsFile, CompanyDecidesWhereThePortsAre) {
    writeSettingsFile("[Strings]\r\nAppRegKey=VelmoraTest\r\nPort Monitor Name=Shown\r\n");
    writeRegistryBinary("Software\\VelmoraTest\\Ipp\\PortMonitor\\1.1\\Ports", "P",
                        defaultRecord("P"));
    writeRegistryBinary(kDefaultMonitorKey + "\\Ports", "Q", defaultRecord("Q"));
    const Table table = dll_.monitor2();
    HANDLE handle = nullptr;
    EXPECT_TRUE(table.entry<OpenPort2Entry>(2)(nullptr, L"P", &handle));
    EXPECT_FALSE(table.entry<OpenPort2Entry>(2)(nullptr, L"Q", &handle));
    EXPECT_EQ(displayName(table).first, L"Shown");
}

TEST_F(SettingsFile, EscapedLineEndsAreShownAsReal) {
    writeRegistryBinary(kDefaultMonitorKey + "\\Ports", "P", defaultRecord("P"));
    writeSettingsFile("[Strings]\r\nPort Monitor Name=one\\ntwo\\tthree\\rfour\\x\r\n");
    EXPECT_EQ(displayName(dll_.monitor2()).first, L"one\ntwo\tthree\rfour\\x");
}

TEST_F(SettingsFile, DisplayNameIsReadAfreshAndTheCompanyOnce) {
    writeRegistryBinary(kDefaultMonitorKey + "\\Ports", "P", defaultRecord("P"));
    const Table table = dll_.monitor2();
    writeSettingsFile("[Strings]\r\nPort Monitor Name=Second\r\nAppRegKey=VelmoraTest\r\n");
    EXPECT_EQ(displayName(table).first, L"Second");
    EXPECT_EQ(displayName(dll_.monitor2()).first, L"Second") << "still finds the old key's port";
}

TEST_F(SettingsFile, NonsenseFilesAreSurvived) {
    writeRegistryBinary(kDefaultMonitorKey + "\\Ports", "P", defaultRecord("P"));
    const std::string files[] = {
        std::string(100000, '['),
        std::string("\0\xFF\xFE[Strings]\0Port Monitor Name=\0", 32),
        "[Strings\r\nPort Monitor Name\r\n=\r\n==\r\n[Strings]\r\nPort Monitor Name=\r\n",
        "[Strings]\r\nPort Monitor Name=" + std::string(50000, 'x') + "\r\n",
    };
    const Table table = dll_.monitor2();
    for (const std::string& contents : files) {
        writeSettingsFile(contents);
        const std::wstring name = displayName(table).first;
        EXPECT_FALSE(name.empty());
        EXPECT_LE(name.size(), 127u);
    }
}

}  // namespace
}  // namespace velmora::testing
