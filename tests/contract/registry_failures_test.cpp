#include <windows.h>

#include <string>
#include <vector>

#include "harness/built_dll.h"
#include "harness/clean_state.h"
#include "harness/monitor_keys.h"
#include "harness/packed_record.h"
#include "harness/wininet/import_patch.h"

// The built library with a registry that cannot be written: changes still apply for the life of the
// process, and no error is reported.

namespace velmora::testing {
namespace {

using Block = std::vector<std::byte>;

int refused = 0;

LSTATUS WINAPI refuseValue(HKEY, const char*, DWORD, DWORD, const BYTE*, DWORD) {
    ++refused;
    return ERROR_NO_SYSTEM_RESOURCES;
}

LSTATUS WINAPI refuseDeletion(HKEY, const char*) {
    ++refused;
    return ERROR_ACCESS_DENIED;
}

LSTATUS WINAPI refuseKey(HKEY, const char*, HKEY* key) {
    ++refused;
    *key = nullptr;
    return ERROR_ACCESS_DENIED;
}

struct Failure {
    const char* function;
    void (*replacement)();
};

class RegistryFailures : public CleanStateTest {
  protected:
    void SetUp() override {
        CleanStateTest::SetUp();
        writeRegistryBinary(kPortsKey, "P", stored_);
        table_ = dll_.monitor2();
        refused = 0;
    }

    DWORD xcv(const wchar_t* command, const void* input, Block* output = nullptr) {
        DWORD needed = 0;
        return table_.entry<XcvDataPortEntry>(16)(
            nullptr, command, input, 0, output == nullptr ? nullptr : output->data(),
            output == nullptr ? 0 : static_cast<DWORD>(output->size()), &needed);
    }
    /// The monitor's record of the port "P".
    Block record() {
        Block area(stored_.size());
        EXPECT_EQ(xcv(L"GetConfigInfo", "P", &area), 0u);
        return area;
    }
    bool opens(const wchar_t* name) {
        HANDLE port = nullptr;
        return table_.entry<OpenPort2Entry>(2)(nullptr, name, &port) != FALSE;
    }

    const Block stored_ = defaultRecord("P");
    const BuiltDll dll_;
    Table table_{nullptr, 1};
};

TEST_F(RegistryFailures, ChangedPortIsChangedThoughItCannotBeStored) {
    Block changed = stored_;
    changed.back() = std::byte{1};  // ipp-attribute-fidelity
    for (const Failure& failure :
         {Failure{"RegSetValueExA", reinterpret_cast<void (*)()>(&refuseValue)},
          Failure{"RegCreateKeyA", reinterpret_cast<void (*)()>(&refuseKey)}}) {
        SCOPED_TRACE(failure.function);
        refused = 0;
        const ImportPatch patch("ADVAPI32.dll", failure.function, failure.replacement,
                                dll_.module());
        EXPECT_EQ(xcv(L"ConfigPort", changed.data()), 0u);
        EXPECT_GT(refused, 0);
        EXPECT_EQ(record(), changed);
        EXPECT_EQ(readRegistry(kPortsKey, "P"), stored_);
        EXPECT_EQ(xcv(L"ConfigPort", stored_.data()), 0u);
        EXPECT_EQ(record(), stored_);
    }
    EXPECT_EQ(xcv(L"ConfigPort", changed.data()), 0u);
    EXPECT_EQ(readRegistry(kPortsKey, "P"), changed) << "the next write works";
}

TEST_F(RegistryFailures, DeletedPortIsGoneThoughItsRecordStays) {
    {
        const ImportPatch patch("ADVAPI32.dll", "RegDeleteValueA",
                                reinterpret_cast<void (*)()>(&refuseDeletion), dll_.module());
        EXPECT_EQ(xcv(L"DeletePort", L"P"), 0u);
    }
    EXPECT_GT(refused, 0);
    EXPECT_FALSE(opens(L"P"));
    EXPECT_EQ(readRegistry(kPortsKey, "P"), stored_);
    ASSERT_EQ(xcv(L"AddPort", L"Q"), 0u);
    ASSERT_TRUE(opens(L"Q"));
    refused = 0;
    {
        const ImportPatch patch("ADVAPI32.dll", "RegCreateKeyA",
                                reinterpret_cast<void (*)()>(&refuseKey), dll_.module());
        EXPECT_EQ(xcv(L"DeletePort", L"Q"), 0u);
    }
    EXPECT_GT(refused, 0);
    EXPECT_FALSE(opens(L"Q"));
}

}  // namespace
}  // namespace velmora::testing
