#include "velmoractl/setup/installed_settings.h"

#include <windows.h>

#include <string_view>

#include "port/settings.h"
#include "velmoractl/setup/spooler_setup.h"
#include "velmoractl/text/console.h"

namespace velmora::ctl {
namespace {

/// The values of the delivered settings file (ui/languages/Velmora.dat), for a computer without
/// one.
const char* delivered(std::string_view key) {
    return key == "AppRegKey" ? "Velmora" : "Velmora IPP Port";
}

}  // namespace

std::string installedSetting(const char* key) {
    return settingIn(settingsFile(), key);
}

std::string settingIn(const ProfileFile& file, const char* key) {
    bool unreadable = false;
    std::string value = file.read("Strings", key, &unreadable);
    const DWORD error = GetLastError();
    // Under another name the monitor would not be found.
    if (unreadable) throw systemError("reading " + quotedPath(file.path()), error, "try again");
    if (!value.empty()) return value;
    // The library takes the key for the value of a file that lacks it.
    return fileExists(file.path()) ? key : delivered(key);
}

std::string installedKey() {
    return monitorRegistryKey(installedSetting("AppRegKey"));
}

}  // namespace velmora::ctl
