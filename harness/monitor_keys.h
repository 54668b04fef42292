#pragma once

#include <string>

#include "harness/clean_state.h"

namespace velmora::testing {

// Where the monitor keeps what it stores, below HKEY_LOCAL_MACHINE.
inline const std::string kPortsKey = kDefaultMonitorKey + "\\Ports";
inline const std::string kGroupsKey = kDefaultMonitorKey + "\\Printer groups";
inline const std::string kPrintersKey = kDefaultMonitorKey + "\\Printers";

// The name under which tests register the monitor, and the key that the platform's spooler keeps
// for it.
inline const std::string kMonitor = "Velmora";
inline const std::string kMonitorKey =
    "System\\CurrentControlSet\\Control\\Print\\Monitors\\" + kMonitor;

}  // namespace velmora::testing
