// Every entry that shows no dialog and sends no document.
#include "tests/contract/fault_scenarios.h"

namespace velmora::testing {
namespace {

const std::string kNoMemory = "FALSE " + std::to_string(ERROR_NOT_ENOUGH_MEMORY);

void nothing() {}

/// With the policy of an installation, or without one.
class FailingEntries : public FailingCallsTest, public ::testing::WithParamInterface<bool> {
  protected:
    void SetUp() override {
        FailingCallsTest::SetUp();
        if (!GetParam()) return;
        for (const auto& [name, value] : {std::pair{"AdministratorsOnly", 1u},
                                          {"StatedSizes", 1u},
                                          {"CloseConnections", 1u},
                                          {"PromptDelivery", 1u}})
            writeRegistryRaw(kDefaultMonitorKey + "\\Policy", name, REG_DWORD,
                             Bytes().u32(value).data());
        dll_.monitor2();
    }
    static std::string named(const char* entry) {
        return std::string(entry) + (GetParam() ? ", policy" : "");
    }

    void tryXcv(const char* name, const wchar_t* command, const Block& input, std::size_t area,
                const std::function<void()>& before = nothing,
                std::vector<Documented> documented = {{kMemoryFault, "8"}}) {
        tryEverywhere({.name = named(name),
                       .before = before,
                       .call =
                           [&] {
                               Block output(area);
                               return std::to_string(
                                   xcv(monitor2_, command, input, area == 0 ? nullptr : &output));
                           },
                       .good = "0",
                       .documented = std::move(documented)});
    }
    void addPort(const std::wstring& name) {
        EXPECT_EQ(xcv(monitor2_, L"AddPort", wide(name)), 0u);
    }
};

INSTANTIATE_TEST_SUITE_P(Machine, FailingEntries, ::testing::Bool(), [](const auto& info) {
    return std::string(info.param ? "WithPolicy" : "WithoutPolicy");
});

/// An initialiser finds its ports, or fewer of them if memory or the registry fails; the next one
/// finds them all.
TEST_P(FailingEntries, Initialisers) {
    const auto tryInitialiser = [&](const char* name, const std::function<bool()>& initialise) {
        tryEverywhere({.name = named(name),
                       .before = nothing,
                       .call = [&]() -> std::string {
                           if (!initialise()) return "no table";
                           HANDLE port = nullptr;
                           const bool one = ansi_.entry<OpenPortAEntry>(2)("One", &port) != 0;
                           const bool four = ansi_.entry<OpenPortAEntry>(2)("Four", &port) != 0;
                           return std::to_string(one + four) + " ports";
                       },
                       .good = "2 ports",
                       .documented = {{kMemoryFault | kRegistryFault, "0 ports"},
                                      {kMemoryFault | kRegistryFault, "1 ports"}}});
    };
    tryInitialiser("InitializePrintMonitor2", [&] { return dll_.monitor2().slot(1) != nullptr; });
    tryInitialiser("InitializePrintMonitor", [&] { return dll_.monitorEx().slot(1) != nullptr; });
    tryInitialiser("InitializeMonitorEx",
                   [&] { return dll_.monitorAnsi(storage_).slot(1) != nullptr; });
}

TEST_P(FailingEntries, EnumPorts) {
    BYTE area[4096];
    DWORD needed = 0, returned = 0;
    const auto tryEnumeration = [&](const char* name, const std::function<BOOL()>& enumerate) {
        tryEverywhere({.name = named(name),
                       .before = nothing,
                       .call =
                           [&] {
                               needed = returned = 0;
                               SetLastError(kUntouched);
                               const std::string result = words(enumerate());
                               return result + ", " + std::to_string(returned) + " ports";
                           },
                       .good = "TRUE, 2 ports",
                       .documented = {{kMemoryFault, kNoMemory + ", 0 ports"}}});
    };
    tryEnumeration("EnumPorts of MONITOR2", [&] {
        return monitor2_.entry<EnumPorts2Entry>(1)(nullptr, nullptr, 2, area, sizeof area, &needed,
                                                   &returned);
    });
    tryEnumeration("EnumPorts of MONITOREX", [&] {
        return monitorEx_.entry<EnumPortsWEntry>(1)(nullptr, 2, area, sizeof area, &needed,
                                                    &returned);
    });
    tryEnumeration("EnumPorts of MONITOR", [&] {
        return ansi_.entry<EnumPortsAEntry>(1)(nullptr, 2, area, sizeof area, &needed, &returned);
    });
}

TEST_P(FailingEntries, OpenPort) {
    const std::wstring wideName = L"A port whose name is too long to be kept inside an object";
    const std::string name(wideName.begin(), wideName.end());
    addPort(wideName);
    HANDLE port = nullptr;
    const auto tryOpening = [&](const char* entry, const std::function<BOOL()>& open) {
        tryEverywhere({.name = named(entry),
                       .before = nothing,
                       .call =
                           [&] {
                               SetLastError(kUntouched);
                               return words(open());
                           },
                       .good = "TRUE",
                       .documented = {{kMemoryFault, kNoMemory}}});
    };
    tryOpening("OpenPort of MONITOR2", [&] {
        return monitor2_.entry<OpenPort2Entry>(2)(nullptr, wideName.c_str(), &port);
    });
    tryOpening("OpenPort of MONITOREX",
               [&] { return monitorEx_.entry<OpenPortWEntry>(2)(wideName.c_str(), &port); });
    tryOpening("OpenPortEx of MONITOREX", [&] {
        return monitorEx_.entry<OpenPortExWEntry>(3)(wideName.c_str(), nullptr, &port, nullptr);
    });
}

/// The channel stays closed to those whom the policy excludes, whatever cannot be read.
TEST_P(FailingEntries, XcvOpenPort) {
    const auto tryOpening = [&](const char* name, ACCESS_MASK access, const std::string& good) {
        tryEverywhere({.name = named(name),
                       .before = nothing,
                       .call =
                           [&] {
                               HANDLE handle = nullptr;
                               SetLastError(kUntouched);
                               return words(monitor2_.entry<XcvOpenPortEntry>(15)(
                                   nullptr, L",XcvPort One", access, &handle));
                           },
                       .good = good,
                       .documented = {}});
    };
    tryOpening("XcvOpenPort by a user", 2, GetParam() ? "FALSE 5" : "TRUE");
}

TEST_P(FailingEntries, XcvCommandsForPorts) {
    const std::wstring added = L"A port whose name is too long for an object";
    tryXcv("MonitorUI", L"MonitorUI", {}, 64);
    tryXcv("GetConfigInfo", L"GetConfigInfo", Bytes().text("One").data(), 1024);
    tryXcv("ConfigPort", L"ConfigPort", recordOf("One", "ipp://localhost/another"), 0, [&] {
        EXPECT_EQ(xcv(monitor2_, L"ConfigPort", recordOf("One", "ipp://localhost/one")), 0u);
    });
    // After a change by somebody else the whole directory is read and written.
    tryXcv("ConfigPort, new directory", L"ConfigPort", recordOf("One", "ipp://localhost/another"),
           0, [&] {
               EXPECT_EQ(xcv(monitor2_, L"ConfigPort", recordOf("One", "ipp://localhost/one")), 0u);
               EXPECT_EQ(xcv(monitor2_, L"SetGroupsDB", directoryOfFour()), 0u);
           });
    tryXcv("AddPort", L"AddPort", wide(added), 0);
    const std::string name(added.begin(), added.end());
    tryXcv("DeletePort", L"DeletePort", wide(added), 0, [&] {
        addPort(added);
        EXPECT_EQ(xcv(monitor2_, L"ConfigPort", recordOf(name, "ipp://localhost/two")), 0u);
    });
}

TEST_P(FailingEntries, XcvCommandsForTheDirectory) {
    tryXcv("GetGroupsDB", L"GetGroupsDB", {}, 4096, nothing,
           {{kMemoryFault, "8"}, {GetParam() ? kRegistryFault : 0u, "CODE"}});
    Block changed = Bytes().u32(2).u32(1).u32(0).text("All groups").u32(0).data();
    const Block one = Bytes()
                          .u32(2)
                          .u32(1)
                          .text("Another")
                          .u32(1)
                          .text("ipp://localhost/another")
                          .u8(1)
                          .text("user")
                          .text("password")
                          .u32(0)
                          .data();
    changed.insert(changed.end(), one.begin(), one.end());
    tryXcv("SetGroupsDB", L"SetGroupsDB", changed, 0,
           [&] { EXPECT_EQ(xcv(monitor2_, L"SetGroupsDB", directoryOfFour()), 0u); });
}

TEST_P(FailingEntries, DeletePort) {
    const std::wstring wideName = L"A port that is deleted";
    const std::string name(wideName.begin(), wideName.end());
    const auto tryDeletion = [&](const char* entry, const std::function<BOOL()>& remove,
                                 std::vector<Documented> documented,
                                 unsigned silent = kRegistryFault) {
        tryEverywhere(
            {.name = named(entry),
             .before =
                 [&] {
                     addPort(wideName);
                     EXPECT_EQ(xcv(monitor2_, L"ConfigPort", recordOf(name, "ipp://localhost/two")),
                               0u);
                 },
             .call =
                 [&] {
                     SetLastError(kUntouched);
                     return words(remove());
                 },
             .good = "TRUE",
             .documented = std::move(documented),
             .silent = silent,
             .again = true});
    };
    // The client does not check the monitor's answer.
    tryDeletion(
        "DeletePortUI",
        [&] { return dll_.ui().entry<PortUiEntry>(3)(nullptr, nullptr, wideName.c_str()); },
        {{kMemoryFault, kNoMemory}, {kSpoolerFault, "FALSE CODE"}}, kRegistryFault | kMemoryFault);
    if (GetParam()) return;  // which the older generations do not ask for
    tryDeletion(
        "DeletePort of MONITOREX",
        [&] { return monitorEx_.entry<PortDialogW>(12)(nullptr, nullptr, wideName.c_str()); },
        {{kMemoryFault, kNoMemory}});
    tryDeletion("DeletePort of MONITOR",
                [&] { return ansi_.entry<PortDialogA>(11)(nullptr, nullptr, name.c_str()); },
                {{kMemoryFault, kNoMemory}});
}

}  // namespace
}  // namespace velmora::testing
