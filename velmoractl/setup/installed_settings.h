#pragma once

#include <string>

namespace velmora::ctl {

/// A name from the settings file, with itself as the default. Unlike the library's own reader this
/// one never writes the default into the file: a question must leave no trace on a computer that
/// has no monitor, and the answer may change while the program runs.
std::string installedSetting(const char* key);

/// The monitor's key below HKEY_LOCAL_MACHINE by those settings.
std::string installedKey();

}  // namespace velmora::ctl
