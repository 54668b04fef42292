#include "platform/caller_memory.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>

namespace velmora {
namespace {

/// Two readable pages followed by one that is not.
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

/// The number of bytes that can be read.
std::size_t reachable(const void* address, std::size_t limit = CallerMemory::kNoLimit) {
    CallerMemory memory(address, limit);
    while (memory.reach(memory.bytes().size() + 1)) {
    }
    return memory.bytes().size();
}

const wchar_t* wideAt(const char* address) {
    return reinterpret_cast<const wchar_t*>(address);
}

TEST(CallerMemory, NothingAtNullOrAtUnreadableAddresses) {
    EXPECT_EQ(reachable(nullptr), 0u);
    const GuardedPages pages(PAGE_NOACCESS);
    EXPECT_EQ(reachable(pages.end()), 0u);
    EXPECT_EQ(reachable(reinterpret_cast<void*>(~std::uintptr_t{0})), 0u);
    EXPECT_FALSE(callerText(static_cast<const char*>(nullptr)));
    EXPECT_FALSE(callerText(pages.end()));
}

TEST(CallerMemory, EndsWhereAccessEnds) {
    for (const DWORD protection : {PAGE_NOACCESS, PAGE_READWRITE | PAGE_GUARD, PAGE_EXECUTE}) {
        const GuardedPages pages(protection);
        for (const std::size_t size : {1u, 4095u, 4096u, 4097u, 8192u}) {
            EXPECT_EQ(reachable(pages.end() - size), size);
            EXPECT_FALSE(CallerMemory(pages.end() - size).reach(size + 1));
            EXPECT_TRUE(CallerMemory(pages.end() - size).reach(size));
        }
    }
}

TEST(CallerMemory, AGuardPageKeepsItsGuard) {
    const GuardedPages pages(PAGE_READWRITE | PAGE_GUARD);
    reachable(pages.base());
    MEMORY_BASIC_INFORMATION info{};
    ASSERT_NE(VirtualQuery(pages.end(), &info, sizeof info), 0u);
    EXPECT_NE(info.Protect & PAGE_GUARD, 0u);
}

TEST(CallerMemory, SpansRegionsOfDifferentProtection) {
    const GuardedPages pages(PAGE_NOACCESS);
    for (std::size_t at = 0; at < 2 * GuardedPages::kPage; ++at)
        pages.base()[at] = static_cast<char>(at * 7);
    DWORD old = 0;
    ASSERT_TRUE(VirtualProtect(pages.base(), GuardedPages::kPage, PAGE_READONLY, &old));
    CallerMemory memory(pages.base());
    ASSERT_TRUE(memory.reach(2 * GuardedPages::kPage));
    EXPECT_EQ(std::memcmp(memory.bytes().data(), pages.base(), memory.bytes().size()), 0);
}

TEST(CallerMemory, NothingBeyondTheLimitIsLookedAt) {
    const GuardedPages pages(PAGE_NOACCESS);
    std::memset(pages.base(), 'x', 2 * GuardedPages::kPage);
    for (const std::size_t limit : {0u, 1u, 255u, 256u, 257u, 5000u})
        EXPECT_EQ(reachable(pages.base(), limit), limit);
    pages.base()[4] = '\0';
    EXPECT_FALSE(callerText(pages.base(), 4));
    EXPECT_EQ(callerText(pages.base(), 5), "xxxx");
    std::memcpy(pages.base(), L"ab", 6);
    EXPECT_FALSE(callerText(wideAt(pages.base()), 5));
    EXPECT_EQ(callerText(wideAt(pages.base()), 6), L"ab");
}

TEST(CallerText, EndsAtTheTerminatorAlsoAtTheLastByte) {
    const GuardedPages pages(PAGE_NOACCESS);
    std::memcpy(pages.end() - 4, "abc", 4);
    EXPECT_EQ(callerText(pages.end() - 4), "abc");
    EXPECT_EQ(callerText(pages.end() - 1), "");
    std::memcpy(pages.end() - 6, L"xy", 6);
    EXPECT_EQ(callerText(wideAt(pages.end() - 6)), L"xy");
}

TEST(CallerText, OddAddressesWork) {
    const GuardedPages pages(PAGE_NOACCESS);
    std::memset(pages.base(), 'x', 2 * GuardedPages::kPage);
    std::memcpy(pages.end() - 7, L"xy", 6);
    EXPECT_EQ(callerText(wideAt(pages.end() - 7)), L"xy");
    // Across the border of two pages.
    std::memcpy(pages.base() + GuardedPages::kPage - 3, L"xy", 6);
    EXPECT_EQ(callerText(wideAt(pages.base() + GuardedPages::kPage - 3)), L"xy");
}

TEST(CallerText, WithoutTerminatorThereIsNoText) {
    const GuardedPages pages(PAGE_NOACCESS);
    std::memset(pages.base(), 'x', 2 * GuardedPages::kPage);
    EXPECT_FALSE(callerText(pages.base()));
    EXPECT_FALSE(callerText(pages.end() - 1));
    EXPECT_FALSE(callerText(wideAt(pages.base())));
    // An odd byte before the end cannot hold a wide terminator.
    pages.end()[-1] = '\0';
    EXPECT_FALSE(callerText(wideAt(pages.end() - 2)));
}

TEST(CallerText, LongTextsAcrossRegionsAreWhole) {
    const GuardedPages pages(PAGE_NOACCESS);
    std::memset(pages.base(), 'x', 2 * GuardedPages::kPage);
    pages.end()[-1] = '\0';
    DWORD old = 0;
    ASSERT_TRUE(VirtualProtect(pages.base(), GuardedPages::kPage, PAGE_READONLY, &old));
    const auto text = callerText(pages.base());
    ASSERT_TRUE(text);
    EXPECT_EQ(text->size(), 2 * GuardedPages::kPage - 1);
}

TEST(CallerText, TextsOfEveryLengthEndWhereTheyEnd) {
    const GuardedPages pages(PAGE_READWRITE | PAGE_GUARD);
    std::memset(pages.base(), 'x', 2 * GuardedPages::kPage);
    for (const std::size_t length : {0u, 1u, 2u, 253u, 254u, 255u, 256u, 257u, 510u, 511u, 512u}) {
        // In the middle of other text, and at the end of what can be read.
        for (char* const end : {pages.base() + 2000, pages.end()}) {
            char* const text = end - length - 1;
            end[-1] = '\0';
            for (const std::size_t limit : {length + 1, length + 2, CallerMemory::kNoLimit}) {
                EXPECT_EQ(callerText(text, limit), std::string(length, 'x')) << length;
            }
            EXPECT_FALSE(callerText(text, length)) << length;
            end[-1] = 'x';
        }
        const std::wstring wide(length, L'w');
        const std::size_t bytes = (length + 1) * sizeof(wchar_t);
        std::memcpy(pages.end() - bytes, wide.c_str(), bytes);
        EXPECT_EQ(callerText(wideAt(pages.end() - bytes)), wide) << length;
        EXPECT_EQ(callerText(wideAt(pages.end() - bytes), bytes), wide) << length;
        EXPECT_FALSE(callerText(wideAt(pages.end() - bytes), bytes - 1)) << length;
        std::memset(pages.end() - bytes, 'x', bytes);
    }
    MEMORY_BASIC_INFORMATION info{};
    ASSERT_NE(VirtualQuery(pages.end(), &info, sizeof info), 0u);
    EXPECT_NE(info.Protect & PAGE_GUARD, 0u);
}

/// A reader that checks first and reads afterwards faults here within some thousand rounds.
TEST(CallerMemory, ANeighbourThatIsFreedMeanwhileIsNoFault) {
    auto* const base = static_cast<char*>(
        VirtualAlloc(nullptr, 16 * GuardedPages::kPage, MEM_RESERVE, PAGE_READWRITE));
    ASSERT_NE(base, nullptr);
    ASSERT_NE(VirtualAlloc(base, GuardedPages::kPage, MEM_COMMIT, PAGE_READWRITE), nullptr);
    std::memset(base, 'x', GuardedPages::kPage);
    std::atomic<bool> over = false;
    {
        std::jthread neighbour([&] {
            while (!over) {
                VirtualAlloc(base + GuardedPages::kPage, 15 * GuardedPages::kPage, MEM_COMMIT,
                             PAGE_READWRITE);
                VirtualFree(base + GuardedPages::kPage, 15 * GuardedPages::kPage, MEM_DECOMMIT);
            }
        });
        // A text that continues in the neighbour's pages, which are zero when they are allocated.
        const char* const text = base + GuardedPages::kPage - 2;
        for (int round = 0; round < 4000; ++round) {
            EXPECT_GE(reachable(base), GuardedPages::kPage);
            if (round % 4 == 0) {
                EXPECT_EQ(callerText(text).value_or("xx"), "xx");
            }
        }
        over = true;
    }
    VirtualFree(base, 0, MEM_RELEASE);
}

}  // namespace
}  // namespace velmora
