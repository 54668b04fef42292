#include "platform/readable_memory.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <cstring>

namespace velmora {
namespace {

/// Two readable pages with a page behind them that is not.
class GuardedPages {
  public:
    explicit GuardedPages(DWORD protectionBehind)
        : base_(static_cast<char*>(
              VirtualAlloc(nullptr, 3 * kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE))) {
        DWORD old = 0;
        EXPECT_TRUE(VirtualProtect(base_ + 2 * kPage, kPage, protectionBehind, &old));
    }
    ~GuardedPages() { VirtualFree(base_, 0, MEM_RELEASE); }

    char* end() const { return base_ + 2 * kPage; }
    char* base() const { return base_; }

    static constexpr std::size_t kPage = 4096;

  private:
    char* base_;
};

TEST(ReadableMemory, NothingAtNullOrAtUnreadableAddresses) {
    EXPECT_TRUE(readableMemory(nullptr).empty());
    const GuardedPages pages(PAGE_NOACCESS);
    EXPECT_TRUE(readableMemory(pages.end()).empty());
    EXPECT_TRUE(readableMemory(reinterpret_cast<void*>(~std::uintptr_t{0})).empty());
    EXPECT_FALSE(readableText(static_cast<const char*>(nullptr)));
    EXPECT_FALSE(readableText(pages.end()));
}

TEST(ReadableMemory, EndsWhereAccessEnds) {
    for (const DWORD protection : {PAGE_NOACCESS, PAGE_READWRITE | PAGE_GUARD, PAGE_EXECUTE}) {
        const GuardedPages pages(protection);
        for (const std::size_t size : {1u, 4095u, 4096u, 4097u, 8192u}) {
            const auto memory = readableMemory(pages.end() - size);
            EXPECT_EQ(memory.size(), size);
        }
    }
}

TEST(ReadableMemory, SpansRegionsOfDifferentProtection) {
    const GuardedPages pages(PAGE_NOACCESS);
    DWORD old = 0;
    ASSERT_TRUE(VirtualProtect(pages.base(), GuardedPages::kPage, PAGE_READONLY, &old));
    EXPECT_EQ(readableMemory(pages.base()).size(), 2 * GuardedPages::kPage);
}

TEST(ReadableText, EndsAtTheTerminatorAlsoAtTheLastByte) {
    const GuardedPages pages(PAGE_NOACCESS);
    std::memcpy(pages.end() - 4, "abc", 4);
    EXPECT_EQ(readableText(pages.end() - 4), "abc");
    EXPECT_EQ(readableText(pages.end() - 1), "");
    auto* wide = reinterpret_cast<wchar_t*>(pages.end()) - 3;
    std::memcpy(wide, L"xy", 6);
    EXPECT_EQ(readableText(wide), L"xy");
}

TEST(ReadableText, WithoutTerminatorThereIsNoText) {
    const GuardedPages pages(PAGE_NOACCESS);
    std::memset(pages.base(), 'x', 2 * GuardedPages::kPage);
    EXPECT_FALSE(readableText(pages.base()));
    EXPECT_FALSE(readableText(pages.end() - 1));
    EXPECT_FALSE(readableText(reinterpret_cast<wchar_t*>(pages.base())));
    // An odd byte before the end cannot hold a wide terminator.
    pages.end()[-1] = '\0';
    EXPECT_FALSE(readableText(reinterpret_cast<wchar_t*>(pages.end() - 2)));
}

TEST(ReadableText, LongTextsAcrossRegionsAreWhole) {
    const GuardedPages pages(PAGE_NOACCESS);
    std::memset(pages.base(), 'x', 2 * GuardedPages::kPage);
    pages.end()[-1] = '\0';
    DWORD old = 0;
    ASSERT_TRUE(VirtualProtect(pages.base(), GuardedPages::kPage, PAGE_READONLY, &old));
    const auto text = readableText(pages.base());
    ASSERT_TRUE(text);
    EXPECT_EQ(text->size(), 2 * GuardedPages::kPage - 1);
}

}  // namespace
}  // namespace velmora
