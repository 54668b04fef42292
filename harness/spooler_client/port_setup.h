#pragma once

#include <string>
#include <vector>

namespace velmora::testing {

/// Where the spooler keeps its monitors and drivers, below HKEY_LOCAL_MACHINE; ends with a
/// backslash.
inline const std::string kPrintKey = "System\\CurrentControlSet\\Control\\Print\\";

/// The monitor's name in the spooler.
std::string monitorName();

/// Stores the port as its dialogs would. One target without "=" is the URL of a single-target port.
/// Otherwise each target is GROUP=URL[,URL]...: the groups and their printers are added to the
/// printer directory, and the port prints to all of them.
void configurePort(const std::string& name, const std::vector<std::string>& targets);

}  // namespace velmora::testing
