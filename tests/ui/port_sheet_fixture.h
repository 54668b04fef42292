#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "harness/clean_state.h"
#include "harness/dialog_driver.h"
#include "harness/sheet_records.h"
#include "port/spooler.h"
#include "ui/port_sheet.h"
#include "ui/resources/resource_ids.h"

namespace velmora::testing {

/// A spooler that lists fixed ports and records the servers whose ports were listed.
class StandInSpooler {
  public:
    explicit StandInSpooler(std::vector<std::string> ports);
    ~StandInSpooler();

    const SpoolerFunctions& functions() const { return functions_; }
    const std::vector<std::string>& servers() const { return servers_; }

  private:
    static BOOL WINAPI enumPorts(char* server, DWORD level, BYTE* buffer, DWORD size, DWORD* needed,
                                 DWORD* returned);

    static StandInSpooler* current_;
    SpoolerFunctions functions_{};
    std::vector<std::string> ports_;
    std::vector<std::string> servers_;
};

/// Shows a sheet on the test's thread and operates it from another.
class PortSheetTest : public CleanStateTest {
  protected:
    PortSheetTest();
    ~PortSheetTest() override;

    /// A new port's sheet. Returns what the sheet returned; the record is in `config`.
    bool runNew(const std::function<void(const SheetDriver&)>& person);
    /// The sheet of the port `config`.
    bool runConfigure(const std::function<void(const SheetDriver&)>& person);

    SheetRecords records;
    CGroupsDB& directory;      ///< that of `records`
    PortConfig& config;        ///< that of `records`
    JobTemplate& jobTemplate;  ///< that of `records`
    RecordedBoxes boxes;
    StandInSpooler spooler{{"LPT1:", "Taken", "FILE:"}};
    std::string server;
    std::string title = "Configure Port Monitor";

  private:
    bool run(PortSheet& sheet, const std::function<void(const SheetDriver&)>& person);
};

using Ids = std::vector<std::uint32_t>;

}  // namespace velmora::testing
