#pragma once

#include <string>

#include "platform/profile_file.h"

namespace velmora {

class RegistryGroupsStore;

/// The settings file: "Velmora.dat" in the system directory. The path is computed once.
const ProfileFile& settingsFile();

/// One text of the settings file's section "Strings"; the text is both key and default.
std::string readSetting(const std::string& text);

/// What the spooler shows as the monitor's name and as its ports' description; read afresh.
std::string monitorDisplayName();

/// The company part of every registry path of ours; read once.
const std::string& appRegKey();

/// "Software\<company>\Ipp\PortMonitor\1.1", below HKEY_LOCAL_MACHINE; of appRegKey() or of a
/// company that the caller has read.
std::string monitorRegistryKey();
std::string monitorRegistryKey(const std::string& company);

/// The machine's printer directory, stored next to the ports below the monitor's registry key.
/// Until a root group is stored it is called by the interface's text "All groups".
RegistryGroupsStore directoryStore();

}  // namespace velmora
