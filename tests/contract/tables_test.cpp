#include "harness/built_dll.h"
#include "harness/clean_state.h"

namespace velmora::testing {
namespace {

struct TableShape {
    const char* what;
    std::vector<int> nullSlots;
    int slots;
};

void expectShape(const Table& table, const TableShape& shape) {
    for (int slot = 1; slot <= shape.slots; ++slot) {
        const bool expectNull = std::count(shape.nullSlots.begin(), shape.nullSlots.end(), slot);
        EXPECT_EQ(table.slot(slot) == nullptr, expectNull) << shape.what << " slot " << slot;
    }
}

using Tables = CleanStateTest;

TEST_F(Tables, SizesAreThoseOfTheirGenerations) {
    const BuiltDll dll;
    EXPECT_EQ(dll.ui().size(), 4 * sizeof(void*));
    EXPECT_EQ(dll.monitor2().size(), 19 * sizeof(void*));
    EXPECT_EQ(dll.monitorEx().size(), 14 * sizeof(void*));
}

TEST_F(Tables, NullSlotsAreExactlyThoseThatTheGenerationLeavesOut) {
    const BuiltDll dll;
    expectShape(dll.ui(), {"ui", {}, 3});
    expectShape(dll.monitor2(), {"monitor2", {3, 9, 10, 11, 12}, 18});
    const void* storage[BuiltDll::kAnsiSlots] = {};
    expectShape(dll.monitorAnsi(storage), {"ansi", {3}, 13});
    // Three more slots, because later spoolers look for Xcv entries there unasked.
    expectShape(dll.monitorEx(), {"ex", {10, 13, 15, 16, 17}, 17});
}

TEST_F(Tables, AnsiInitialiserCopiesThirteenPointersAndNoMore) {
    const BuiltDll dll;
    const void* storage[BuiltDll::kAnsiSlots + 1] = {};
    storage[BuiltDll::kAnsiSlots] = &dll;
    dll.monitorAnsi(storage);
    EXPECT_EQ(storage[BuiltDll::kAnsiSlots], &dll);
}

TEST_F(Tables, XcvCloseAndPortCloseAreTheSameRoutine) {
    const Table table = BuiltDll().monitor2();
    EXPECT_EQ(table.slot(17), table.slot(8));
}

TEST_F(Tables, InitialiserLeavesItsArgumentsAlone) {
    const BuiltDll dll;
    int init = 42;
    HANDLE monitor = &init;
    dll.symbol<const void*(WINAPI*)(void*, HANDLE*)>("InitializePrintMonitor2")(&init, &monitor);
    EXPECT_EQ(init, 42);
    EXPECT_EQ(monitor, &init);
}

TEST_F(Tables, SameTableEveryTime) {
    const BuiltDll dll;
    EXPECT_EQ(dll.monitor2().slot(1), dll.monitor2().slot(1));
}

using TrivialEntries = CleanStateTest;

TEST_F(TrivialEntries, ReadPortDiffersByGeneration) {
    const BuiltDll dll;
    const void* storage[BuiltDll::kAnsiSlots] = {};
    struct Case {
        const char* generation;
        PortTransfer readPort;
        BOOL result;
        DWORD count;
    };
    const Case cases[] = {
        {"monitor2", dll.monitor2().entry<PortTransfer>(6), TRUE, 0},
        {"ansi", dll.monitorAnsi(storage).entry<PortTransfer>(6), FALSE, 0},
        {"ex", dll.monitorEx().entry<PortTransfer>(6), FALSE, 77},
    };
    for (const Case& c : cases) {
        BYTE buffer[4] = {1, 2, 3, 4};
        DWORD count = 77;
        EXPECT_EQ(c.readPort(nullptr, buffer, sizeof buffer, &count), c.result) << c.generation;
        EXPECT_EQ(count, c.count) << c.generation;
        EXPECT_EQ(buffer[0], 1) << c.generation;
    }
}

TEST_F(TrivialEntries, SetPortTimeOutsDiffersByGeneration) {
    using SetPortTimeOuts = BOOL(WINAPI*)(HANDLE, COMMTIMEOUTS*, DWORD);
    const BuiltDll dll;
    const void* storage[BuiltDll::kAnsiSlots] = {};
    COMMTIMEOUTS timeOuts{};
    EXPECT_TRUE(dll.monitor2().entry<SetPortTimeOuts>(14)(nullptr, &timeOuts, 0));
    EXPECT_TRUE(dll.monitorAnsi(storage).entry<SetPortTimeOuts>(13)(nullptr, &timeOuts, 0));
    EXPECT_FALSE(dll.monitorEx().entry<SetPortTimeOuts>(14)(nullptr, &timeOuts, 0));
}

TEST_F(TrivialEntries, GetPrinterDataFromPortSetsAnErrorInTheXcvGenerationOnly) {
    using GetPrinterData = BOOL(WINAPI*)(HANDLE, DWORD, void*, void*, DWORD, void*, DWORD, DWORD*);
    const BuiltDll dll;
    const void* storage[BuiltDll::kAnsiSlots] = {};
    SetLastError(5);
    EXPECT_FALSE(dll.monitor2().entry<GetPrinterData>(13)(nullptr, 0, nullptr, nullptr, 0, nullptr,
                                                          0, nullptr));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
    const Table ansi = dll.monitorAnsi(storage);
    SetLastError(5);
    EXPECT_FALSE(
        ansi.entry<GetPrinterData>(12)(nullptr, 0, nullptr, nullptr, 0, nullptr, 0, nullptr));
    EXPECT_EQ(GetLastError(), 5u);
}

TEST_F(TrivialEntries, XcvOpenPortSucceedsAndLeavesTheHandleAsItWas) {
    HANDLE handle = &handle;
    EXPECT_TRUE(BuiltDll().monitor2().entry<XcvOpenPortEntry>(15)(nullptr, L"x", 1, &handle));
    EXPECT_EQ(handle, &handle);
}

TEST_F(TrivialEntries, ClosePortAndShutdownDoNothing) {
    const Table table = BuiltDll().monitor2();
    EXPECT_TRUE(table.entry<PortCall>(8)(nullptr));
    EXPECT_TRUE(table.entry<PortCall>(17)(nullptr));
    table.entry<void(WINAPI*)(HANDLE)>(18)(nullptr);
}

}  // namespace
}  // namespace velmora::testing
