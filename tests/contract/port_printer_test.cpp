// The printer directory follows the ports that are configured and deleted over the Xcv channel; the
// stored values are read with the platform's registry tool.

#include <windows.h>

#include "harness/built_dll.h"
#include "harness/clean_state.h"
#include "harness/packed_record.h"
#include "harness/registry_tool.h"

namespace velmora::testing {
namespace {

using Block = std::vector<std::byte>;
using Lines = std::vector<std::string>;

const std::string kPrintersKey = kDefaultMonitorKey + "\\Printers";
const std::string kPrinters = "HKEY_LOCAL_MACHINE\\" + kPrintersKey;

/// The default record with the fields that the directory takes up.
Block record(const std::string& name, const std::string& url, unsigned auth,
             const std::string& user, const std::string& password) {
    const Block plain = defaultRecord(name);
    // After the name: singleTarget, printerUrl, useAuthentication, userName, password.
    const auto rest = plain.begin() + static_cast<std::ptrdiff_t>(name.size()) + 1 + 5;
    Block block = Bytes().text(name).u8(1).text(url).u8(auth).text(user).text(password).data();
    block.insert(block.end(), rest, plain.end());
    return block;
}

class PortPrinters : public CleanStateTest {
  protected:
    DWORD call(const wchar_t* command, const void* input) {
        return entry_(nullptr, command, input, 0, nullptr, 0, nullptr);
    }
    void addAndConfigure(const std::wstring& name, const Block& config) {
        EXPECT_EQ(call(L"AddPort", name.c_str()), 0u);
        EXPECT_EQ(call(L"ConfigPort", config.data()), 0u);
    }

    const BuiltDll dll_;
    const Table table_ = dll_.monitor2();
    const XcvDataPortEntry entry_ = table_.entry<XcvDataPortEntry>(16);
};

TEST_F(PortPrinters, AddingAPortStoresNothing) {
    EXPECT_EQ(call(L"AddPort", L"IPP1"), 0u);
    EXPECT_EQ(queryRegistryTool(kDefaultMonitorKey), Lines{});
}

TEST_F(PortPrinters, ConfiguredPortsAreRecordedAndDeletedOnesForgotten) {
    addAndConfigure(L"IPP1", record("IPP1", "ipp://h/one", 1, "joe", "secret"));
    addAndConfigure(L"IPP2", record("IPP2", "ipp://h/two", 0, "", ""));
    const Lines second{kPrinters + "\\IPP2", "    URI    REG_SZ    ipp://h/two"};
    Lines both{kPrinters + "\\IPP1", "    Password    REG_SZ    secret",
               "    URI    REG_SZ    ipp://h/one", "    User name    REG_SZ    joe"};
    both.insert(both.end(), second.begin(), second.end());
    EXPECT_EQ(queryRegistryTool(kPrintersKey), both);
    EXPECT_EQ(readRegistry(kDefaultMonitorKey + "\\Printer groups\\1", "Name"),
              Bytes().text("All groups").data());

    EXPECT_EQ(call(L"DeletePort", L"IPP1"), 0u);
    EXPECT_EQ(queryRegistryTool(kPrintersKey), second);
    EXPECT_EQ(call(L"DeletePort", L"IPP1"), 0u);
    EXPECT_EQ(queryRegistryTool(kPrintersKey), second);
}

TEST_F(PortPrinters, ConfiguringAgainReplacesTheRecord) {
    addAndConfigure(L"IPP1", record("IPP1", "ipp://h/one", 1, "joe", "secret"));
    EXPECT_EQ(call(L"ConfigPort", record("IPP1", "ipp://h/new", 0, "", "").data()), 0u);
    EXPECT_EQ(queryRegistryTool(kPrintersKey),
              (Lines{kPrinters + "\\IPP1", "    URI    REG_SZ    ipp://h/new"}));
}

TEST_F(PortPrinters, RefusedDirectoryLeavesThemAsTheyAre) {
    addAndConfigure(L"IPP1", record("IPP1", "ipp://h/one", 0, "", ""));
    const Lines before = queryRegistryTool(kDefaultMonitorKey);
    const Block impossible = Bytes().u32(0xFFFFFFFF).data();
    EXPECT_EQ(call(L"SetGroupsDB", impossible.data()), 87u);
    EXPECT_EQ(queryRegistryTool(kDefaultMonitorKey), before);
}

}  // namespace
}  // namespace velmora::testing
