// A port's sheet with a directory of 100,000 groups opens as fast for a chain or a circle of groups
// as for groups side by side.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>

#include "directory/groups_db.h"
#include "harness/clean_state.h"
#include "harness/sheet_person.h"
#include "harness/sheet_records.h"
#include "ui/port_sheet.h"

namespace velmora::testing {
namespace {

constexpr std::uint32_t kGroups = 100'000;

/// The root and groups 2 to kGroups with these parents.
template <class ParentOf>
std::unique_ptr<CGroupsDB> directoryOf(ParentOf parentOf) {
    auto directory = std::make_unique<CGroupsDB>();
    for (std::uint32_t id = 1; id <= kGroups; ++id) {
        auto group = std::make_unique<CGroupsDBGroup>();
        group->id = id;
        group->parent = id == 1 ? 0 : parentOf(id);
        group->name = "Group";
        directory->Insert(std::move(group));
    }
    return directory;
}

/// CPU time of this process so far, in milliseconds.
double cpuMilliseconds() {
    FILETIME made{}, ended{}, kernel{}, user{};
    GetProcessTimes(GetCurrentProcess(), &made, &ended, &kernel, &user);
    const auto ticks = [](const FILETIME& time) {
        return (static_cast<double>(time.dwHighDateTime) * 4294967296.0 + time.dwLowDateTime);
    };
    return (ticks(kernel) + ticks(user)) / 10000;
}

/// Opens the sheet and cancels it.
double timeOfSheet(CGroupsDB& directory) {
    const SheetSteps none;
    const double start = cpuMilliseconds();
    const SheetPerson person(none);
    SheetRecords records;
    records.useMultiPort({});
    EXPECT_FALSE(CDialogConfigPort(nullptr, directory).edit(records.config));
    EXPECT_EQ(person.sheets(), 1);
    return cpuMilliseconds() - start;
}

TEST(LargeDirectory, OpensInTheTimeOfAFlatOneWhateverItsShape) {
    const auto flat = directoryOf([](std::uint32_t) { return 1u; });
    const auto chain = directoryOf([](std::uint32_t id) { return id - 1; });
    const auto circle = directoryOf([](std::uint32_t id) { return id == 2 ? kGroups : id - 1; });
    const double limit = 2 * timeOfSheet(*flat);
    for (const auto& [shape, directory] : {std::pair{"chain", &chain}, {"circle", &circle}}) {
        // A walk for each group would take hundreds of times as long. One time above the limit may
        // be the machine's fault, three are not.
        double time = limit + 1;
        for (int i = 0; i < 3 && time > limit; ++i)
            time = timeOfSheet(**directory);
        EXPECT_LE(time, limit) << shape;
        std::printf("%s: %.2f of the time of a flat directory\n", shape, 2 * time / limit);
    }
}

}  // namespace
}  // namespace velmora::testing
