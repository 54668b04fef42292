#include "port/policy_store.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <string>
#include <vector>

#include "harness/clean_state.h"
#include "platform/registry.h"

namespace velmora {
namespace {

using testing::kDefaultMonitorKey;
using testing::readRegistry;
using testing::writeRegistryRaw;

const std::string kPolicyKey = kDefaultMonitorKey + "\\Policy";

void writeValue(const char* name, std::uint32_t number, DWORD type = REG_DWORD) {
    writeRegistryRaw(kPolicyKey, name, type, std::as_bytes(std::span(&number, 1)));
}

using PolicyStore = testing::CleanStateTest;

TEST_F(PolicyStore, WithoutAKeyThereIsNoPolicy) {
    EXPECT_FALSE(hasPolicy(kDefaultMonitorKey));
    EXPECT_EQ(machinePolicy(), Policy());
    // Reading leaves no trace.
    EXPECT_FALSE(hasPolicy(kDefaultMonitorKey));
}

TEST_F(PolicyStore, WhatIsWrittenIsReadAndIsPlainNumbers) {
    ASSERT_TRUE(createPolicy(kDefaultMonitorKey, installedPolicy()));
    EXPECT_TRUE(hasPolicy(kDefaultMonitorKey));
    EXPECT_EQ(machinePolicy(), installedPolicy());
    EXPECT_EQ(readPolicy(kDefaultMonitorKey), installedPolicy());
    for (const PolicyValue& value : policyValues()) {
        unsigned long type = 0;
        const std::vector<std::byte> bytes = readRegistry(kPolicyKey, value.name, &type);
        EXPECT_EQ(type, static_cast<unsigned long>(REG_DWORD)) << value.name;
        ASSERT_EQ(bytes.size(), sizeof value.installed) << value.name;
        EXPECT_EQ(std::memcmp(bytes.data(), &value.installed, bytes.size()), 0) << value.name;
    }
}

TEST_F(PolicyStore, AnEmptyKeyIsAPolicyOfMissingValues) {
    RegistryKey::create(kPolicyKey);
    EXPECT_TRUE(hasPolicy(kDefaultMonitorKey));
    EXPECT_EQ(machinePolicy(), Policy());
}

TEST_F(PolicyStore, OneValueAloneIsWhatItIsAmongAll) {
    for (const PolicyValue& value : policyValues())
        EXPECT_EQ(machinePolicy(value.field), value.missing()) << value.name;
    for (const PolicyValue& value : policyValues()) {
        writeValue(value.name, value.highest);
        EXPECT_EQ(machinePolicy(value.field), value.highest) << value.name;
        EXPECT_EQ(machinePolicy().*value.field, value.highest) << value.name;
        writeValue(value.name, value.highest, REG_BINARY);
        EXPECT_EQ(machinePolicy(value.field), value.missing()) << value.name;
    }
}

TEST_F(PolicyStore, AChangeIsSeenAtTheNextReading) {
    writeValue("StatedSizes", 1);
    EXPECT_EQ(machinePolicy().statedSizes, 1u);
    writeValue("StatedSizes", 0);
    EXPECT_EQ(machinePolicy().statedSizes, 0u);
}

TEST_F(PolicyStore, ValuesOfOtherTypesSizesAndNumbersAreMissing) {
    writeValue("AdministratorsOnly", 2);
    writeValue("FollowRedirects", 0, REG_BINARY);
    writeValue("ReceiveTimeout", 86401);
    writeValue("EventLog", 0x31, REG_SZ);
    writeRegistryRaw(kPolicyKey, "StatedSizes", REG_QWORD, std::vector<std::byte>(8, std::byte{0}));
    writeRegistryRaw(kPolicyKey, "CloseConnections", REG_DWORD,
                     std::vector<std::byte>(2, std::byte{1}));
    writeRegistryRaw(kPolicyKey, "SendTimeout", REG_DWORD,
                     std::vector<std::byte>(4000, std::byte{0}));
    writeValue("ConnectTimeout", 7);
    Policy expected;
    expected.connectTimeout = 7;
    EXPECT_EQ(machinePolicy(), expected);
}

/// Nobody may open the key, whatever rights they have.
class LockedPolicy {
  public:
    LockedPolicy() {
        RegOpenKeyExA(HKEY_LOCAL_MACHINE, kPolicyKey.c_str(), 0, WRITE_DAC, key_.put());
        setRights(&nobody_);
    }
    ~LockedPolicy() { setRights(nullptr); }

  private:
    static ACL emptyList() {
        ACL list{};
        InitializeAcl(&list, sizeof list, ACL_REVISION);
        return list;
    }
    /// Null: everybody may do everything.
    void setRights(ACL* list) const {
        SECURITY_DESCRIPTOR rights{};
        InitializeSecurityDescriptor(&rights, SECURITY_DESCRIPTOR_REVISION);
        SetSecurityDescriptorDacl(&rights, TRUE, list, FALSE);
        EXPECT_EQ(RegSetKeySecurity(key_.get(), DACL_SECURITY_INFORMATION, &rights), ERROR_SUCCESS);
    }

    UniqueRegKey key_;
    ACL nobody_ = emptyList();
};

TEST_F(PolicyStore, APolicyThatCannotBeReadStaysWhatItWas) {
    writeValue("AdministratorsOnly", 1);
    writeValue("ReceiveTimeout", 77);
    const Policy before = machinePolicy();
    EXPECT_EQ(before.receiveTimeout, 77u);
    const LockedPolicy lock;
    ASSERT_FALSE(RegistryKey::open(kPolicyKey));
    EXPECT_EQ(machinePolicy(), before);
    EXPECT_TRUE(hasPolicy(kDefaultMonitorKey));
}

/// The thread may be impersonating the monitor's caller, and must still do so afterwards.
TEST_F(PolicyStore, TheCallersIdentityComesBack) {
    ASSERT_TRUE(createPolicy(kDefaultMonitorKey, installedPolicy()));
    ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
    EXPECT_EQ(machinePolicy(), installedPolicy());
    UniqueToken token;
    EXPECT_TRUE(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.put()));
    RevertToSelf();
}

TEST_F(PolicyStore, WithoutAnImpersonationThereIsNoneAfterwards) {
    machinePolicy();
    UniqueToken token;
    EXPECT_FALSE(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.put()));
}

}  // namespace
}  // namespace velmora
