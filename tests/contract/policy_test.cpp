// What the machine's policy changes in the answers of the built library, and that nothing changes
// without it.

#include <cwchar>

#include "harness/built_dll.h"
#include "harness/clean_state.h"
#include "harness/packed_record.h"

namespace velmora::testing {
namespace {

using Block = std::vector<std::byte>;

constexpr ACCESS_MASK kAdminister = 1;  // SERVER_ACCESS_ADMINISTER
constexpr ACCESS_MASK kEnumerate = 2;   // SERVER_ACCESS_ENUMERATE
const std::string kPolicyKey = kDefaultMonitorKey + "\\Policy";
const std::string kPortsKey = kDefaultMonitorKey + "\\Ports";

class PolicyTest : public CleanStateTest {
  protected:
    static void set(const std::string& name, std::uint32_t number, DWORD type = REG_DWORD) {
        writeRegistryRaw(kPolicyKey, name, type, std::as_bytes(std::span(&number, 1)));
    }

    BOOL open(ACCESS_MASK access, const wchar_t* object = L",XcvPort P") const {
        HANDLE handle = &marker;
        SetLastError(4711);
        const BOOL opened = table_.entry<XcvOpenPortEntry>(15)(nullptr, object, access, &handle);
        EXPECT_EQ(handle, &marker) << "the handle is never written";
        return opened;
    }
    DWORD call(const wchar_t* command, const Block& input, DWORD statedSize,
               Block* output = nullptr) const {
        DWORD needed = 0;
        return table_.entry<XcvDataPortEntry>(16)(
            nullptr, command, input.data(), statedSize,
            output == nullptr ? nullptr : output->data(),
            output == nullptr ? 0 : static_cast<DWORD>(output->size()), &needed);
    }
    DWORD call(const wchar_t* command, const Block& input) const {
        return call(command, input, static_cast<DWORD>(input.size()));
    }
    bool isKnown(const wchar_t* name) const {
        HANDLE handle = nullptr;
        return table_.entry<OpenPort2Entry>(2)(nullptr, name, &handle) != FALSE;
    }

    static Block wide(const std::wstring& text) {
        const auto* bytes = reinterpret_cast<const std::byte*>(text.c_str());
        return {bytes, bytes + (text.size() + 1) * sizeof(wchar_t)};
    }

    mutable int marker = 0;
    const BuiltDll dll_;
    const Table table_ = dll_.monitor2();
};

TEST_F(PolicyTest, WithoutItEverybodyOpensTheChannel) {
    for (const ACCESS_MASK access : {0u, 1u, 2u, 8u, 0xFFFFFFFEu}) {
        EXPECT_TRUE(open(access));
        EXPECT_EQ(GetLastError(), 4711u);
    }
    set("AdministratorsOnly", 0);
    EXPECT_TRUE(open(kEnumerate));
    set("AdministratorsOnly", 2);
    EXPECT_TRUE(open(kEnumerate)) << "out of bounds is missing";
    set("AdministratorsOnly", 1, REG_BINARY);
    EXPECT_TRUE(open(kEnumerate)) << "another type is missing";
}

TEST_F(PolicyTest, AdministratorsOnlyRefusesWhoeverMayNotAdminister) {
    set("AdministratorsOnly", 1);
    for (const wchar_t* object : {L",XcvPort P", L",XcvMonitor Port Monitor Name", L""}) {
        for (const ACCESS_MASK access : {0u, 2u, 8u, 0xFFFFFFFEu}) {
            EXPECT_FALSE(open(access, object));
            EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
        }
        for (const ACCESS_MASK access : {kAdminister, kAdminister | kEnumerate, ~ACCESS_MASK{0}}) {
            EXPECT_TRUE(open(access, object));
            EXPECT_EQ(GetLastError(), 4711u);
        }
    }
}

/// The input with its last byte beyond the stated size.
struct StatedInput {
    const wchar_t* command;
    Block input;
};

TEST_F(PolicyTest, StatedSizesBoundEveryInput) {
    ASSERT_EQ(call(L"AddPort", wide(L"P")), 0u);
    const Block record = defaultRecord("P");
    const Block directory = Bytes().u32(0).u32(0).data();
    const StatedInput inputs[] = {
        {L"AddPort", wide(L"New")},  {L"GetConfigInfo", Bytes().text("P").data()},
        {L"ConfigPort", record},     {L"SetGroupsDB", directory},
        {L"DeletePort", wide(L"P")},
    };
    set("StatedSizes", 1);
    Block output(record.size());
    for (const StatedInput& input : inputs) {
        for (DWORD size = 1; size < input.input.size(); ++size) {
            EXPECT_EQ(call(input.command, input.input, size, &output),
                      static_cast<DWORD>(ERROR_INVALID_PARAMETER))
                << size;
        }
    }
    // Nothing has changed.
    EXPECT_FALSE(isKnown(L"New"));
    EXPECT_TRUE(isKnown(L"P"));
    EXPECT_TRUE(readRegistry(kPortsKey, "P").empty());
    EXPECT_TRUE(readRegistry(kDefaultMonitorKey + "\\Printer groups\\1", "Name").empty());
    // The size itself, a larger one, and none at all are enough.
    for (const StatedInput& input : inputs)
        EXPECT_EQ(call(input.command, input.input, static_cast<DWORD>(input.input.size()), &output),
                  0u);
    EXPECT_EQ(call(L"AddPort", wide(L"A"), 1000), 0u);
    EXPECT_EQ(call(L"AddPort", wide(L"B"), 0), 0u);
}

TEST_F(PolicyTest, WithoutItTheStatedSizeMeansNothing) {
    EXPECT_EQ(call(L"AddPort", wide(L"A"), 1), 0u);
    EXPECT_EQ(call(L"ConfigPort", defaultRecord("A"), 1), 0u);
    EXPECT_EQ(readRegistry(kPortsKey, "A"), defaultRecord("A"));
    set("StatedSizes", 0);
    EXPECT_EQ(call(L"DeletePort", wide(L"A"), 1), 0u);
    EXPECT_FALSE(isKnown(L"A"));
}

TEST_F(PolicyTest, OddAddressesWork) {
    const Block name = wide(L"Odd");
    Block shifted(name.size() + 1);
    std::memcpy(shifted.data() + 1, name.data(), name.size());
    const auto entry = table_.entry<XcvDataPortEntry>(16);
    EXPECT_EQ(entry(nullptr, L"AddPort", shifted.data() + 1, 0, nullptr, 0, nullptr), 0u);
    EXPECT_TRUE(isKnown(L"Odd"));
}

}  // namespace
}  // namespace velmora::testing
