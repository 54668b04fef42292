#include "port/policy.h"

#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace velmora {
namespace {

constexpr std::uint32_t kRegDword = 4;

const PolicyValue& valueNamed(const std::string& name) {
    for (const PolicyValue& value : policyValues())
        if (name == value.name) return value;
    throw std::runtime_error("no value " + name);
}

std::array<std::byte, 4> dword(std::uint32_t number) {
    std::array<std::byte, 4> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::byte>(number >> 8 * i);
    return bytes;
}

TEST(Policy, EveryValueHasItsNumbers) {
    struct Expected {
        const char* name;
        std::uint32_t missing;
        std::uint32_t installed;
        std::uint32_t highest;
    };
    const std::vector<Expected> expected = {
        {"AdministratorsOnly", 0, 1, 1},   {"StatedSizes", 0, 1, 1},
        {"CloseConnections", 0, 1, 1},     {"FollowRedirects", 1, 0, 1},
        {"ConnectTimeout", 0, 30, 86400},  {"SendTimeout", 0, 120, 86400},
        {"ReceiveTimeout", 0, 300, 86400}, {"PromptDelivery", 0, 1, 1},
        {"DeliveryRecord", 0, 20, 4096},   {"EventLog", 0, 1, 2},
    };
    ASSERT_EQ(policyValues().size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const PolicyValue& value = policyValues()[i];
        SCOPED_TRACE(expected[i].name);
        EXPECT_STREQ(value.name, expected[i].name);
        EXPECT_EQ(value.missing(), expected[i].missing);
        EXPECT_EQ(value.installed, expected[i].installed);
        EXPECT_EQ(value.highest, expected[i].highest);
        EXPECT_EQ(installedPolicy().*value.field, expected[i].installed);
        EXPECT_STRNE(value.meaning, "");
    }
}

TEST(Policy, NoTwoValuesShareAFieldAndNoneIsLeftOut) {
    Policy policy;
    std::uint32_t number = 100;
    for (const PolicyValue& value : policyValues())
        policy.*value.field = number++;
    std::set<std::uint32_t> seen;
    for (const PolicyValue& value : policyValues())
        seen.insert(policy.*value.field);
    EXPECT_EQ(seen.size(), policyValues().size());
    EXPECT_EQ(sizeof(Policy), policyValues().size() * sizeof(std::uint32_t));
}

TEST(Policy, NumbersWithinTheBoundsAreTakenAndOthersAreMissing) {
    for (const PolicyValue& value : policyValues()) {
        SCOPED_TRACE(value.name);
        EXPECT_EQ(parsePolicyValue(value, kRegDword, dword(0)), 0u);
        EXPECT_EQ(parsePolicyValue(value, kRegDword, dword(value.highest)), value.highest);
        EXPECT_FALSE(parsePolicyValue(value, kRegDword, dword(value.highest + 1)));
        EXPECT_FALSE(parsePolicyValue(value, kRegDword, dword(0xFFFFFFFF)));
    }
}

TEST(Policy, TheBytesAreLittleEndian) {
    const std::array bytes{std::byte{0x2C}, std::byte{0x01}, std::byte{0}, std::byte{0}};
    EXPECT_EQ(parsePolicyValue(valueNamed("ReceiveTimeout"), kRegDword, bytes), 300u);
}

TEST(Policy, AnotherTypeOrLengthIsMissing) {
    const PolicyValue& value = valueNamed("StatedSizes");
    for (const std::uint32_t type : {0u, 1u, 2u, 3u, 5u, 7u, 11u, 0xFFFFFFFFu})
        EXPECT_FALSE(parsePolicyValue(value, type, dword(1))) << type;
    const std::vector<std::byte> bytes(8, std::byte{0});
    for (const std::size_t size : {0u, 1u, 3u, 5u, 8u})
        EXPECT_FALSE(parsePolicyValue(value, kRegDword, std::span(bytes).first(size))) << size;
}

/// Administrators read the same as the monitor does.
TEST(Policy, TheDocumentsTellTheSameNumbersAndMeanings) {
    std::ifstream file(VELMORA_DOCS "/security.md");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    std::size_t at = text.find("| Value | Missing | `install` writes | Up to | Meaning |");
    ASSERT_NE(at, std::string::npos);
    at = text.find("|---|---|---|---|---|\n", at) + 22;
    for (const PolicyValue& value : policyValues()) {
        std::ostringstream row;
        row << "| `" << value.name << "` | " << value.missing() << " | " << value.installed << " | "
            << value.highest << " | " << value.meaning;
        if (*value.unit != '\0') row << " (" << value.unit << ")";
        row << " |";
        const std::size_t end = text.find('\n', at);
        EXPECT_EQ(text.substr(at, end - at), row.str());
        at = end + 1;
    }
    EXPECT_EQ(text[at], '\n') << "a row too many";
}

TEST(Policy, ConnectionsGetWhatConcernsThem) {
    EXPECT_EQ(connectionOptions(Policy()), ConnectionOptions());
    ConnectionOptions expected;
    expected.connectTimeout = 30;
    expected.sendTimeout = 120;
    expected.receiveTimeout = 300;
    expected.followRedirects = false;
    expected.promptDelivery = true;
    EXPECT_EQ(connectionOptions(installedPolicy()), expected);
}

}  // namespace
}  // namespace velmora
