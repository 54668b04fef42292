// How far the channel's inputs are read. The policy is read only for an input that does not end
// within its stated size, and anew each time.

#include "monitor/xcv_dispatcher.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <string>

#include "harness/clean_state.h"
#include "harness/packed_record.h"
#include "monitor/process_objects.h"

namespace velmora {
namespace {

using namespace velmora::testing;

class XcvInput : public CleanStateTest {
  protected:
    void SetUp() override {
        CleanStateTest::SetUp();
        createPortList();
    }
    void TearDown() override {
        destroyPortLists();
        CleanStateTest::TearDown();
    }

    static void setPolicy(std::uint32_t number) {
        writeRegistryRaw(kDefaultMonitorKey + "\\Policy", "StatedSizes", REG_DWORD,
                         std::as_bytes(std::span(&number, 1)));
    }
    static DWORD call(const wchar_t* command, std::vector<std::byte> input, std::size_t size) {
        std::array<std::byte, 1024> output{};
        return xcvDataPort(nullptr, command, reinterpret_cast<BYTE*>(input.data()),
                           static_cast<DWORD>(size), reinterpret_cast<BYTE*>(output.data()),
                           output.size(), nullptr);
    }
    static std::vector<std::byte> wide(const wchar_t* text) {
        const auto bytes = std::as_bytes(std::span(text, std::wcslen(text) + 1));
        return {bytes.begin(), bytes.end()};
    }
};

TEST_F(XcvInput, AChangeOfThePolicyHoldsForTheNextCall) {
    constexpr DWORD kRefused = ERROR_INVALID_PARAMETER;
    const auto record = defaultRecord("P");
    const auto name = Bytes().text("P").data();
    ASSERT_EQ(call(L"AddPort", wide(L"P"), 1), 0u);
    for (int round = 0; round < 2; ++round) {
        setPolicy(1);
        EXPECT_EQ(call(L"GetConfigInfo", name, 1), kRefused);
        EXPECT_EQ(call(L"ConfigPort", record, record.size() - 1), kRefused);
        EXPECT_EQ(call(L"AddPort", wide(L"Q"), 2), kRefused);
        EXPECT_EQ(call(L"GetConfigInfo", name, name.size()), 0u);
        EXPECT_EQ(call(L"ConfigPort", record, record.size()), 0u);
        setPolicy(0);
        EXPECT_EQ(call(L"GetConfigInfo", name, 1), 0u);
        EXPECT_EQ(call(L"ConfigPort", record, record.size() - 1), 0u);
    }
    EXPECT_EQ(findPort("Q"), nullptr);
    EXPECT_EQ(call(L"DeletePort", wide(L"P"), 2), 0u);
    EXPECT_EQ(findPort("P"), nullptr);
}

TEST_F(XcvInput, WithoutAStatedSizeThePolicySaysNothing) {
    setPolicy(1);
    EXPECT_EQ(call(L"AddPort", wide(L"P"), 0), 0u);
    EXPECT_EQ(call(L"GetConfigInfo", Bytes().text("P").data(), 0), 0u);
}

}  // namespace
}  // namespace velmora
