#include <windows.h>

#include <winspool.h>

#include <algorithm>
#include <functional>

#include "harness/built_dll.h"
#include "harness/clean_state.h"
#include "harness/packed_record.h"

namespace velmora::testing {
namespace {

const std::string kPorts = kDefaultMonitorKey + "\\Ports";

using Enumerate = std::function<BOOL(DWORD, BYTE*, DWORD, DWORD*, DWORD*)>;

struct Generation {
    const char* name;
    Enumerate enumerate;
    std::size_t charSize;
    bool zeroesCounters;
    std::size_t sizedName;   ///< longest display name that is sized, terminator included
    std::size_t filledName;  ///< and that is filled
};

class PortEnumeration : public CleanStateTest {
  protected:
    void storePort(const std::string& name) {
        // The platform may enumerate values sorted by name; these names keep our order.
        writeRegistryBinary(kPorts, std::to_string(10000 + names_.size()), defaultRecord(name));
        names_.push_back(name);
    }

    /// Initialises every generation; all of them then list the ports stored so far.
    std::vector<Generation> generations() {
        const auto ansi = dll_.monitorAnsi(storage_).entry<EnumPortsAEntry>(1);
        const auto ex = dll_.monitorEx().entry<EnumPortsWEntry>(1);
        const auto two = dll_.monitor2().entry<EnumPorts2Entry>(1);
        constexpr std::size_t kNoLimit = 100000;
        return {
            {"ansi",
             [ansi](DWORD level, BYTE* b, DWORD size, DWORD* n, DWORD* r) {
                 return ansi(nullptr, level, b, size, n, r);
             },
             1, true, kNoLimit, kNoLimit},
            {"ex",
             [ex](DWORD level, BYTE* b, DWORD size, DWORD* n, DWORD* r) {
                 return ex(nullptr, level, b, size, n, r);
             },
             2, false, kNoLimit, kNoLimit},
            {"monitor2",
             [two](DWORD level, BYTE* b, DWORD size, DWORD* n, DWORD* r) {
                 return two(nullptr, nullptr, level, b, size, n, r);
             },
             2, false, 256, 128},
        };
    }

    std::size_t expectedSize(const Generation& g, DWORD level, std::size_t displayName) const {
        std::size_t size = 0;
        for (const std::string& name : names_) {
            size += level == 1 ? sizeof(PORT_INFO_1A) : sizeof(PORT_INFO_2A);
            size += (name.size() + 1) * g.charSize;
            if (level == 2) size += 2 * std::min(displayName + 1, g.sizedName) * g.charSize;
        }
        return size;
    }

    static std::wstring widen(const std::string& ansi) {
        std::wstring wide(ansi.size(), L'\0');
        MultiByteToWideChar(CP_ACP, 0, ansi.data(), static_cast<int>(ansi.size()), wide.data(),
                            static_cast<int>(wide.size()));
        return wide;
    }

    static std::wstring textAt(const Generation& g, const void* text) {
        if (g.charSize == 2) return static_cast<const wchar_t*>(text);
        return widen(static_cast<const char*>(text));
    }

    /// Checks a filled buffer, strings and their places.
    void expectFilled(const Generation& g, DWORD level, const std::vector<BYTE>& buffer,
                      DWORD count, const std::string& displayName) {
        ASSERT_EQ(count, names_.size()) << g.name;
        const std::wstring shown = widen(displayName).substr(0, g.filledName - 1);
        const BYTE* lowest = buffer.data() + buffer.size();
        const auto expectNext = [&](const void* text, const std::wstring& expected) {
            lowest -= (expected.size() + 1) * g.charSize;
            EXPECT_EQ(text, lowest) << g.name;
            EXPECT_EQ(textAt(g, text), expected) << g.name;
        };
        for (DWORD i = 0; i < count; ++i) {
            if (level == 1) {
                const auto& info = reinterpret_cast<const PORT_INFO_1A*>(buffer.data())[i];
                expectNext(info.pName, widen(names_[i]));
                continue;
            }
            const auto& info = reinterpret_cast<const PORT_INFO_2A*>(buffer.data())[i];
            expectNext(info.pDescription, shown);
            expectNext(info.pMonitorName, shown);
            expectNext(info.pPortName, widen(names_[i]));
            EXPECT_EQ(info.fPortType, 3u);
            EXPECT_EQ(info.Reserved, 0u);
        }
    }

    const BuiltDll dll_;
    const void* storage_[BuiltDll::kAnsiSlots] = {};
    std::vector<std::string> names_;
};

TEST_F(PortEnumeration, OtherLevelsAreRefused) {
    storePort("P");
    for (const Generation& g : generations()) {
        for (const DWORD level : {0u, 3u, 0xFFFFFFFFu}) {
            DWORD needed = 77;
            DWORD returned = 77;
            BYTE buffer[256];
            SetLastError(0);
            EXPECT_FALSE(g.enumerate(level, buffer, sizeof buffer, &needed, &returned)) << g.name;
            EXPECT_EQ(GetLastError(), 124u) << g.name;
            const DWORD expected = g.zeroesCounters ? 0 : 77;
            EXPECT_EQ(needed, expected) << g.name;
            EXPECT_EQ(returned, expected) << g.name;
        }
    }
}

TEST_F(PortEnumeration, NoPortsNeedNothing) {
    for (const Generation& g : generations()) {
        for (const DWORD level : {1u, 2u}) {
            DWORD needed = 77;
            DWORD returned = 77;
            EXPECT_TRUE(g.enumerate(level, nullptr, 0, &needed, &returned)) << g.name;
            EXPECT_EQ(needed, 0u);
            EXPECT_EQ(returned, 0u);
        }
    }
}

TEST_F(PortEnumeration, EveryBufferSizeUpToOneMoreThanNeeded) {
    writeSettingsFile("[Strings]\r\nPort Monitor Name=Velmora Ports\r\n");
    storePort("A");
    storePort("Caf\xE9 \x80");
    storePort("port with, comma \\ and \"quotes\"");
    constexpr BYTE kGuard = 0xA5;
    constexpr std::size_t kGuardSize = 64;
    for (const Generation& g : generations()) {
        for (const DWORD level : {1u, 2u}) {
            const std::size_t total = expectedSize(g, level, std::strlen("Velmora Ports"));
            for (std::size_t size = 0; size <= total + 1; ++size) {
                std::vector<BYTE> area(size + 2 * kGuardSize, kGuard);
                DWORD needed = 77;
                DWORD returned = 77;
                SetLastError(0);
                const BOOL ok = g.enumerate(level, area.data() + kGuardSize,
                                            static_cast<DWORD>(size), &needed, &returned);
                ASSERT_EQ(needed, total) << g.name << " level " << level << " size " << size;
                ASSERT_TRUE(std::all_of(area.begin(), area.begin() + kGuardSize,
                                        [](BYTE b) { return b == kGuard; }));
                ASSERT_TRUE(std::all_of(area.end() - kGuardSize, area.end(),
                                        [](BYTE b) { return b == kGuard; }));
                ASSERT_EQ(ok, size >= total);
                if (ok) continue;
                ASSERT_EQ(GetLastError(), 122u);
                ASSERT_EQ(returned, g.zeroesCounters ? 0u : 77u);
                ASSERT_TRUE(std::all_of(area.begin(), area.end(), [](BYTE b) {
                    return b == kGuard;
                })) << "a buffer that is too small is not touched";
            }
        }
    }
}

TEST_F(PortEnumeration, StringsArePackedDownwardFromTheEnd) {
    writeSettingsFile("[Strings]\r\nPort Monitor Name=Velmora Ports\r\n");
    storePort("A");
    storePort("Caf\xE9 \x80");
    storePort("");
    for (const Generation& g : generations()) {
        for (const DWORD level : {1u, 2u}) {
            // With room to spare it shows that strings end at the end of the buffer, not of what is
            // needed.
            for (const std::size_t spare : {0u, 1u, 100u}) {
                const std::size_t total = expectedSize(g, level, std::strlen("Velmora Ports"));
                std::vector<BYTE> buffer(total + spare);
                DWORD needed = 0;
                DWORD returned = 0;
                ASSERT_TRUE(g.enumerate(level, buffer.data(), static_cast<DWORD>(buffer.size()),
                                        &needed, &returned));
                expectFilled(g, level, buffer, returned, "Velmora Ports");
            }
        }
    }
}

TEST_F(PortEnumeration, DisplayNameIsSizedLongerThanItIsFilled) {
    storePort("P");
    for (const std::size_t length : {126u, 127u, 128u, 254u, 255u, 256u, 900u}) {
        const std::string name(length, 'n');
        writeSettingsFile("[Strings]\r\nPort Monitor Name=" + name + "\r\n");
        for (const Generation& g : generations()) {
            DWORD needed = 0;
            DWORD returned = 0;
            std::vector<BYTE> buffer(expectedSize(g, 2, length));
            EXPECT_FALSE(g.enumerate(2, nullptr, 0, &needed, &returned)) << g.name;
            EXPECT_EQ(needed, buffer.size()) << g.name << " " << length;
            ASSERT_TRUE(g.enumerate(2, buffer.data(), static_cast<DWORD>(buffer.size()), &needed,
                                    &returned));
            expectFilled(g, 2, buffer, returned, name);
        }
    }
}

TEST_F(PortEnumeration, TenThousandPorts) {
    for (int i = 0; i < 10000; ++i)
        storePort("Port " + std::to_string(10000 + i));
    for (const Generation& g : generations()) {
        const std::size_t total = expectedSize(g, 2, std::strlen("Port Monitor Name"));
        std::vector<BYTE> buffer(total);
        DWORD needed = 0;
        DWORD returned = 0;
        EXPECT_FALSE(
            g.enumerate(2, buffer.data(), static_cast<DWORD>(total - 1), &needed, &returned));
        EXPECT_EQ(needed, total) << g.name;
        ASSERT_TRUE(g.enumerate(2, buffer.data(), static_cast<DWORD>(total), &needed, &returned));
        expectFilled(g, 2, buffer, returned, "Port Monitor Name");
    }
}

TEST_F(PortEnumeration, NullCountersAreTolerated) {
    storePort("P");
    for (const Generation& g : generations()) {
        BYTE buffer[512];
        EXPECT_TRUE(g.enumerate(1, buffer, sizeof buffer, nullptr, nullptr)) << g.name;
        EXPECT_FALSE(g.enumerate(1, nullptr, sizeof buffer, nullptr, nullptr)) << g.name;
    }
}

}  // namespace
}  // namespace velmora::testing
