#include <windows.h>

#include <winspool.h>

#include <algorithm>

#include "harness/built_dll.h"
#include "harness/clean_state.h"
#include "harness/packed_record.h"

namespace velmora::testing {
namespace {

const std::string kPorts = kDefaultMonitorKey + "\\Ports";

/// Loads the library's ports afresh and lists their names in order.
std::vector<std::wstring> listedPorts(const BuiltDll& dll) {
    const auto enumerate = dll.monitor2().entry<EnumPorts2Entry>(1);
    DWORD needed = 0;
    DWORD returned = 0;
    enumerate(nullptr, nullptr, 1, nullptr, 0, &needed, &returned);
    std::vector<BYTE> buffer(needed);
    EXPECT_TRUE(enumerate(nullptr, nullptr, 1, buffer.data(), needed, &needed, &returned));
    std::vector<std::wstring> names;
    const auto* info = reinterpret_cast<const PORT_INFO_1W*>(buffer.data());
    for (DWORD i = 0; i < returned; ++i)
        names.emplace_back(info[i].pName);
    return names;
}

using Names = std::vector<std::wstring>;

class PortRegistry : public CleanStateTest {
  protected:
    const BuiltDll dll_;
};

TEST_F(PortRegistry, MissingKeyAndEmptyKeyGiveNoPorts) {
    EXPECT_EQ(listedPorts(dll_), Names{});
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyA(HKEY_LOCAL_MACHINE, kPorts.c_str(), &key), ERROR_SUCCESS);
    RegCloseKey(key);
    EXPECT_EQ(listedPorts(dll_), Names{});
}

TEST_F(PortRegistry, NameComesFromTheRecordAndNotFromTheValue) {
    writeRegistryBinary(kPorts, "value", defaultRecord("inside"));
    EXPECT_EQ(listedPorts(dll_), Names{L"inside"});
}

TEST_F(PortRegistry, TwoRecordsOfOneNameAreTwoPortsAndTheFirstIsFound) {
    const std::vector<std::byte> first = defaultRecord("same");
    std::vector<std::byte> second = first;
    second[5] = std::byte{1};  // singleTarget, after the name and its terminator
    writeRegistryBinary(kPorts, "a", first);
    writeRegistryBinary(kPorts, "b", second);
    EXPECT_EQ(listedPorts(dll_), (Names{L"same", L"same"}));
    const auto xcv = dll_.monitor2().entry<XcvDataPortEntry>(16);
    std::vector<std::byte> found(first.size());
    EXPECT_EQ(xcv(nullptr, L"GetConfigInfo", "same", 5, found.data(),
                  static_cast<DWORD>(found.size()), nullptr),
              0u);
    EXPECT_EQ(found, first);
}

TEST_F(PortRegistry, DamagedValuesAreSkippedAndLeftAsTheyAre) {
    const std::vector<std::byte> good = defaultRecord("good");
    std::vector<std::byte> truncated(good.begin(), good.end() - 1);
    const std::vector<std::byte> impossibleCount =
        Bytes().text("n").u8(0).text("").u8(0).text("").text("").u32(0xFFFFFFFF).u32(1).data();
    const std::vector<std::byte> unterminated(64, std::byte{'x'});
    struct Damaged {
        const char* value;
        DWORD type;
        std::vector<std::byte> data;
    };
    const Damaged damaged[] = {
        {"0 empty", REG_BINARY, {}},
        {"1 truncated", REG_BINARY, truncated},
        {"2 count", REG_BINARY, impossibleCount},
        {"3 unterminated", REG_BINARY, unterminated},
        {"4 text", REG_SZ, good},
        {"5 number", REG_DWORD, {std::byte{1}, std::byte{0}, std::byte{0}, std::byte{0}}},
        {"6 large", REG_BINARY, std::vector<std::byte>(100000, std::byte{0xFF})},
        {"7 none", REG_NONE, good},
    };
    writeRegistryBinary(kPorts, "0 first", defaultRecord("first"));
    for (const Damaged& d : damaged)
        writeRegistryRaw(kPorts, d.value, d.type, d.data);
    writeRegistryBinary(kPorts, "9 last", defaultRecord("last"));

    EXPECT_EQ(listedPorts(dll_), (Names{L"first", L"last"}));
    for (const Damaged& d : damaged) {
        unsigned long type = 0;
        EXPECT_EQ(readRegistry(kPorts, d.value, &type), d.data) << d.value;
        EXPECT_EQ(type, d.type) << d.value;
    }
}

TEST_F(PortRegistry, EveryTruncationIsSkipped) {
    const std::vector<std::byte> good = defaultRecord("port");
    for (std::size_t size = 0; size < good.size(); ++size)
        writeRegistryBinary(kPorts, std::to_string(1000 + size), {good.data(), size});
    writeRegistryBinary(kPorts, "9999", good);
    EXPECT_EQ(listedPorts(dll_), Names{L"port"});
}

TEST_F(PortRegistry, BytesBehindARecordAreIgnored) {
    std::vector<std::byte> longer = defaultRecord("port");
    longer.resize(longer.size() + 5000, std::byte{0x41});
    writeRegistryBinary(kPorts, "port", longer);
    EXPECT_EQ(listedPorts(dll_), Names{L"port"});
}

TEST_F(PortRegistry, ValueNamesAndRecordsOfAnySize) {
    const std::string longName(2000, 'p');
    const std::string odd = "a\\b,\"c\" \xE4";
    for (const std::string& name : {longName, odd})
        writeRegistryBinary(kPorts, name, defaultRecord(name));
    const Names names = listedPorts(dll_);
    EXPECT_EQ(names.size(), 2u);
    EXPECT_NE(std::find(names.begin(), names.end(), std::wstring(2000, L'p')), names.end());
    EXPECT_NE(std::find(names.begin(), names.end(), L"a\\b,\"c\" \u00E4"), names.end());
}

using OpeningPorts = PortRegistry;

TEST_F(OpeningPorts, FindsExactNamesInEveryGeneration) {
    for (const std::string name : {"IPP1", "IPP10", "caf\xE9"})
        writeRegistryBinary(kPorts, name, defaultRecord(name));
    const void* storage[BuiltDll::kAnsiSlots] = {};
    const auto openAnsi = dll_.monitorAnsi(storage).entry<OpenPortAEntry>(2);
    const Table ex = dll_.monitorEx();
    const auto open2 = dll_.monitor2().entry<OpenPort2Entry>(2);
    const auto openEx = ex.entry<OpenPortWEntry>(2);
    const auto openExEx = ex.entry<OpenPortExWEntry>(3);

    HANDLE handles[4] = {};
    EXPECT_TRUE(open2(nullptr, L"IPP1", &handles[0]));
    EXPECT_TRUE(openEx(L"IPP1", &handles[1]));
    EXPECT_TRUE(openExEx(L"IPP1", L"any printer", &handles[2], nullptr));
    EXPECT_TRUE(openAnsi("IPP1", &handles[3]));
    // One process-wide list serves all generations.
    for (const HANDLE handle : handles)
        EXPECT_EQ(handle, handles[0]);

    HANDLE accented = nullptr;
    EXPECT_TRUE(open2(nullptr, L"caf\u00E9", &accented));
    EXPECT_NE(accented, handles[0]);
}

TEST_F(OpeningPorts, UnknownNamesFailWithoutAnErrorCode) {
    writeRegistryBinary(kPorts, "IPP1", defaultRecord("IPP1"));
    const void* storage[BuiltDll::kAnsiSlots] = {};
    const auto openAnsi = dll_.monitorAnsi(storage).entry<OpenPortAEntry>(2);
    const auto open2 = dll_.monitor2().entry<OpenPort2Entry>(2);
    for (const wchar_t* name : {L"ipp1", L"IPP", L"IPP11", L"", L" IPP1"}) {
        HANDLE handle = &handle;
        SetLastError(4711);
        EXPECT_FALSE(open2(nullptr, name, &handle)) << name;
        EXPECT_EQ(GetLastError(), 4711u);
        EXPECT_EQ(handle, &handle);
    }
    SetLastError(4711);
    HANDLE handle = nullptr;
    EXPECT_FALSE(openAnsi("ipp1", &handle));
    EXPECT_EQ(GetLastError(), 4711u);
    EXPECT_FALSE(open2(nullptr, nullptr, &handle));
}

TEST_F(OpeningPorts, SecondInitialiserMakesANewListAndKeepsTheHandlesOfTheFirst) {
    writeRegistryBinary(kPorts, "P", defaultRecord("P"));
    const auto open2 = dll_.monitor2().entry<OpenPort2Entry>(2);
    HANDLE first = nullptr;
    ASSERT_TRUE(open2(nullptr, L"P", &first));
    const Table again = dll_.monitor2();
    HANDLE second = nullptr;
    ASSERT_TRUE(open2(nullptr, L"P", &second));
    EXPECT_NE(first, second);
    // The old handle still names a port: closing it is harmless.
    EXPECT_TRUE(again.entry<PortCall>(8)(first));
}

TEST_F(OpeningPorts, TheUiInitialiserMakesNoPortList) {
    writeRegistryBinary(kPorts, "P", defaultRecord("P"));
    EXPECT_NE(dll_.ui().slot(1), nullptr);
    EXPECT_TRUE(readSettingsFile().empty()) << "nothing was looked up";
}

}  // namespace
}  // namespace velmora::testing
