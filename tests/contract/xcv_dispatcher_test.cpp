#include <algorithm>
#include <cwchar>

#include "harness/built_dll.h"
#include "harness/clean_state.h"
#include "harness/guarded_bytes.h"
#include "harness/packed_record.h"

// The monitor's end of the Xcv channel, through the table of the built library.

namespace velmora::testing {
namespace {

constexpr DWORD kUntouched = 0xDEADBEEF;
const std::string kPortsKey = kDefaultMonitorKey + "\\Ports";
const std::string kGroupsKey = kDefaultMonitorKey + "\\Printer groups";

using Block = std::vector<std::byte>;

Block wide(const std::wstring& text) {
    const auto* bytes = reinterpret_cast<const std::byte*>(text.c_str());
    return {bytes, bytes + (text.size() + 1) * sizeof(wchar_t)};
}
Block narrow(const std::string& text) {
    return Bytes().text(text).data();
}

/// The root with one group and one printer in it, and the printer of one port.
Block smallDirectory() {
    return Bytes()
        .u32(3)
        .u32(1)
        .u32(0)
        .text("Root")
        .u32(0)
        .u32(2)
        .u32(1)
        .text("Group")
        .u32(0)
        .u32(3)
        .u32(2)
        .text("Printer")
        .u32(1)
        .text("ipp://p")
        .u8(1)
        .text("u")
        .text("pw")
        .u32(1)
        .text("Port")
        .text("ipp://q")
        .u8(0)
        .text("")
        .text("")
        .data();
}

class XcvDispatcher : public CleanStateTest {
  protected:
    /// The input ends where the block ends: the memory after it cannot be read.
    DWORD call(const wchar_t* command, const Block& input, Block* output = nullptr,
               DWORD* needed = nullptr) {
        const GuardedBytes guarded(input);
        // The stated size is wrong, and is never used.
        return call(command, guarded.data(), output, needed);
    }
    DWORD call(const wchar_t* command, const void* input, Block* output, DWORD* needed) {
        return entry_(nullptr, command, input, 0x7FFFFFFF,
                      output == nullptr ? nullptr : output->data(),
                      output == nullptr ? 0 : static_cast<DWORD>(output->size()), needed);
    }

    std::vector<std::string> ports() {
        BYTE buffer[16384];
        DWORD needed = 0;
        DWORD count = 0;
        EXPECT_TRUE(table_.entry<EnumPorts2Entry>(1)(nullptr, nullptr, 1, buffer, sizeof buffer,
                                                     &needed, &count));
        std::vector<std::string> names;
        const auto* info = reinterpret_cast<const wchar_t* const*>(buffer);
        for (DWORD i = 0; i < count; ++i)
            names.emplace_back(info[i], info[i] + std::wcslen(info[i]));
        return names;
    }

    const BuiltDll dll_;
    const Table table_ = dll_.monitor2();
    const XcvDataPortEntry entry_ = table_.entry<XcvDataPortEntry>(16);
};

TEST_F(XcvDispatcher, MonitorUiNamesTheLibraryAndAlwaysTellsTheSize) {
    const Block name = wide(L"Velmora.dll");
    ASSERT_EQ(name.size(), 24u);
    for (const std::size_t size : {0u, 1u, 23u}) {
        Block output(size, std::byte{0xAA});
        DWORD needed = kUntouched;
        EXPECT_EQ(call(L"MonitorUI", nullptr, &output, &needed),
                  static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
        EXPECT_EQ(needed, name.size());
        EXPECT_EQ(output, Block(size, std::byte{0xAA}));
    }
    for (const std::size_t size : {24u, 100u}) {
        Block output(size, std::byte{0xAA});
        DWORD needed = kUntouched;
        EXPECT_EQ(call(L"MonitorUI", nullptr, &output, &needed), 0u);
        EXPECT_EQ(needed, name.size());
        EXPECT_TRUE(std::equal(name.begin(), name.end(), output.begin()));
    }
    Block output(24);
    EXPECT_EQ(call(L"MonitorUI", nullptr, &output, nullptr), 0u);
}

TEST_F(XcvDispatcher, UnknownCommandsAreRefusedAndCaseCounts) {
    for (const wchar_t* command :
         {L"", L"monitorui", L"MONITORUI", L"MonitorUI ", L"AddPortX", L"Add", L"\x4E2D"}) {
        DWORD needed = kUntouched;
        EXPECT_EQ(call(command, wide(L"P"), nullptr, &needed),
                  static_cast<DWORD>(ERROR_INVALID_PARAMETER));
        EXPECT_EQ(needed, kUntouched);
    }
    EXPECT_EQ(call(nullptr, wide(L"P")), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(ports().empty());
}

TEST_F(XcvDispatcher, AddPortAppendsWithoutStoringAndAllowsTheNameTwice) {
    DWORD needed = kUntouched;
    EXPECT_EQ(call(L"AddPort", wide(L"P1"), nullptr, &needed), 0u);
    EXPECT_EQ(needed, kUntouched);
    EXPECT_EQ(call(L"AddPort", wide(L"P2")), 0u);
    EXPECT_EQ(call(L"AddPort", wide(L"P1")), 0u);
    EXPECT_EQ(ports(), (std::vector<std::string>{"P1", "P2", "P1"}));
    EXPECT_TRUE(readRegistry(kPortsKey, "P1").empty());
    // The first one is found: configuring and then deleting it leaves the other.
    EXPECT_EQ(call(L"DeletePort", wide(L"P1")), 0u);
    EXPECT_EQ(ports(), (std::vector<std::string>{"P2", "P1"}));
}

TEST_F(XcvDispatcher, NewPortHasTheDefaultRecord) {
    EXPECT_EQ(call(L"AddPort", wide(L"caf\xE9")), 0u);
    const Block record = defaultRecord("caf\xE9");
    Block output(record.size());
    DWORD needed = kUntouched;
    EXPECT_EQ(call(L"GetConfigInfo", narrow("caf\xE9"), &output, &needed), 0u);
    EXPECT_EQ(output, record);
    EXPECT_EQ(needed, kUntouched) << "a buffer that fits leaves it alone";
}

TEST_F(XcvDispatcher, GetConfigInfoTellsTheSizeWhenTheBufferIsTooSmall) {
    call(L"AddPort", wide(L"P"));
    for (const std::size_t size : {0u, 1u, 111u}) {
        Block output(size, std::byte{0xAA});
        DWORD needed = kUntouched;
        EXPECT_EQ(call(L"GetConfigInfo", narrow("P"), &output, &needed),
                  static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
        EXPECT_EQ(needed, 112u);
        EXPECT_EQ(output, Block(size, std::byte{0xAA}));
    }
    EXPECT_EQ(call(L"GetConfigInfo", narrow("P"), nullptr, nullptr),
              static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
    DWORD needed = kUntouched;
    EXPECT_EQ(call(L"GetConfigInfo", narrow("p"), nullptr, &needed),
              static_cast<DWORD>(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(needed, kUntouched);
}

TEST_F(XcvDispatcher, ConfigPortReplacesAndStoresTheRecord) {
    call(L"AddPort", wide(L"P"));
    Block record = defaultRecord("P");
    record[2] = std::byte{1};  // singleTarget, after "P" and its terminator
    DWORD needed = kUntouched;
    EXPECT_EQ(call(L"ConfigPort", record, nullptr, &needed), 0u);
    EXPECT_EQ(needed, kUntouched);
    EXPECT_EQ(readRegistry(kPortsKey, "P"), record);
    Block output(record.size());
    EXPECT_EQ(call(L"GetConfigInfo", narrow("P"), &output), 0u);
    EXPECT_EQ(output, record);

    EXPECT_EQ(call(L"ConfigPort", defaultRecord("Q")), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(readRegistry(kPortsKey, "Q").empty());
}

TEST_F(XcvDispatcher, DeletePortForgetsThePortAndSucceedsForUnknownOnes) {
    call(L"AddPort", wide(L"P"));
    call(L"ConfigPort", defaultRecord("P"));
    EXPECT_EQ(call(L"DeletePort", wide(L"Q")), 0u);
    EXPECT_EQ(ports(), std::vector<std::string>{"P"});
    EXPECT_EQ(call(L"DeletePort", wide(L"P")), 0u);
    EXPECT_TRUE(ports().empty());
    EXPECT_TRUE(readRegistry(kPortsKey, "P").empty());
    EXPECT_EQ(call(L"DeletePort", wide(L"P")), 0u);
}

TEST_F(XcvDispatcher, DirectoryGoesInAndComesOutAgain) {
    DWORD needed = kUntouched;
    EXPECT_EQ(call(L"GetGroupsDB", nullptr, nullptr, &needed),
              static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
    EXPECT_EQ(needed, 31u) << "the root \"All groups\" alone";

    const Block directory = smallDirectory();
    EXPECT_EQ(call(L"SetGroupsDB", directory), 0u);
    Block oneTooSmall(directory.size() - 1);
    needed = kUntouched;
    EXPECT_EQ(call(L"GetGroupsDB", nullptr, &oneTooSmall, &needed),
              static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
    EXPECT_EQ(needed, directory.size());
    Block output(directory.size());
    needed = kUntouched;
    EXPECT_EQ(call(L"GetGroupsDB", nullptr, &output, &needed), 0u);
    EXPECT_EQ(output, directory);
    EXPECT_EQ(needed, kUntouched);
    EXPECT_EQ(readRegistry(kGroupsKey + "\\3", "Name"), narrow("Printer"));
}

TEST_F(XcvDispatcher, InputsWithoutAnEndAreRefusedAndChangeNothing) {
    call(L"AddPort", wide(L"P"));
    call(L"ConfigPort", defaultRecord("P"));
    call(L"SetGroupsDB", smallDirectory());

    const Block wideName = wide(L"PQ");
    const Block name = narrow("PQ");
    for (std::size_t size = 0; size + 2 <= wideName.size(); ++size) {
        const Block part(wideName.begin(), wideName.begin() + static_cast<long>(size));
        for (const wchar_t* command : {L"AddPort", L"DeletePort"})
            EXPECT_EQ(call(command, part), static_cast<DWORD>(ERROR_INVALID_PARAMETER)) << size;
    }
    for (std::size_t size = 0; size < name.size(); ++size) {
        const Block part(name.begin(), name.begin() + static_cast<long>(size));
        EXPECT_EQ(call(L"GetConfigInfo", part), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
    }
    const Block record = defaultRecord("P");
    for (std::size_t size = 0; size < record.size(); ++size) {
        const Block part(record.begin(), record.begin() + static_cast<long>(size));
        EXPECT_EQ(call(L"ConfigPort", part), static_cast<DWORD>(ERROR_INVALID_PARAMETER)) << size;
    }
    Block directory = smallDirectory();
    for (std::size_t size = 0; size < directory.size(); ++size) {
        const Block part(directory.begin(), directory.begin() + static_cast<long>(size));
        EXPECT_EQ(call(L"SetGroupsDB", part), static_cast<DWORD>(ERROR_INVALID_PARAMETER)) << size;
    }
    for (const wchar_t* command :
         {L"AddPort", L"DeletePort", L"GetConfigInfo", L"ConfigPort", L"SetGroupsDB"}) {
        for (const std::uintptr_t address : {0u, 1u, 0x10u, 0xFFFFFFF0u})
            EXPECT_EQ(call(command, reinterpret_cast<const void*>(address), nullptr, nullptr),
                      static_cast<DWORD>(ERROR_INVALID_PARAMETER));
    }
    EXPECT_EQ(ports(), std::vector<std::string>{"P"});
    EXPECT_EQ(readRegistry(kPortsKey, "P"), record);
    Block output(directory.size());
    EXPECT_EQ(call(L"GetGroupsDB", nullptr, &output, nullptr), 0u);
    // Saving the port has entered the port's own printer beside the directory's.
    EXPECT_TRUE(std::equal(directory.begin(), directory.begin() + 60, output.begin()));
}

TEST_F(XcvDispatcher, CountsThatNoBlockCanHoldAreRefused) {
    call(L"AddPort", wide(L"P"));
    const Block manyTargets =
        Bytes().text("P").u8(0).text("").u8(0).text("").text("").u32(0xFFFFFFFF).u32(1).data();
    EXPECT_EQ(call(L"ConfigPort", manyTargets), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(call(L"SetGroupsDB", Bytes().u32(0xFFFFFFFF).u32(1).data()),
              static_cast<DWORD>(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(call(L"SetGroupsDB", Bytes().u32(0).u32(0xFFFFFFFF).data()),
              static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

TEST_F(XcvDispatcher, LongAndOddNamesWork) {
    std::vector<std::wstring> names = {L"",
                                       std::wstring(1, L'x'),
                                       std::wstring(255, L'y'),
                                       std::wstring(2000, L'z'),
                                       L"a\\b, \"c\"",
                                       L"P",
                                       L"PP",
                                       std::wstring(32768, L'w')};
    for (const std::wstring& name : names)
        EXPECT_EQ(call(L"AddPort", wide(name)), 0u);
    for (const std::wstring& name : names) {
        const std::string ansi(name.begin(), name.end());
        Block output(111 + ansi.size());
        EXPECT_EQ(call(L"GetConfigInfo", narrow(ansi), &output), 0u);
        EXPECT_EQ(output, defaultRecord(ansi));
        EXPECT_EQ(call(L"ConfigPort", defaultRecord(ansi)), 0u);
        EXPECT_EQ(call(L"DeletePort", wide(name)), 0u);
    }
    EXPECT_TRUE(ports().empty());
}

TEST_F(XcvDispatcher, StringsOf64KiBTravelWhole) {
    call(L"AddPort", wide(L"P"));
    const std::string url(65536, 'u');
    const Block record = Bytes()
                             .text("P")
                             .u8(1)
                             .text(url)
                             .u8(1)
                             .text(url)
                             .text(url)
                             .u32(2)
                             .u32(7)
                             .u32(0xFFFFFFFF)
                             .u32(10)
                             .text(url)
                             .u32(1)
                             .u32(600)
                             .u32(600)
                             .u32(3)
                             .u32(4)
                             .text(url)
                             .text(url)
                             .u32(3)
                             .u32(1)
                             .text(url)
                             .text(url)
                             .u32(3)
                             .text(url)
                             .u8(1)
                             .data();
    EXPECT_EQ(call(L"ConfigPort", record), 0u);
    Block output(record.size());
    EXPECT_EQ(call(L"GetConfigInfo", narrow("P"), &output), 0u);
    EXPECT_EQ(output, record);
}

}  // namespace
}  // namespace velmora::testing
