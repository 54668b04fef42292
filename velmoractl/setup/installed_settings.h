#pragma once

#include <string>

namespace velmora {
class ProfileFile;
}

namespace velmora::ctl {

/// "Port Monitor Name" or "AppRegKey" from the settings file; the delivered one if there is no
/// file. Unlike the library's own reader this one never writes the default into the file: reading
/// must leave no trace on a computer without the monitor, and the value may change while the
/// program runs.
std::string installedSetting(const char* key);
/// The same of a settings file that is elsewhere.
std::string settingIn(const ProfileFile& file, const char* key);

/// The monitor's key below HKEY_LOCAL_MACHINE by those settings.
std::string installedKey();

}  // namespace velmora::ctl
