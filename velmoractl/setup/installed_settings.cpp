#include "velmoractl/setup/installed_settings.h"

#include "port/settings.h"

namespace velmora::ctl {

std::string installedSetting(const char* key) {
    std::string value = settingsFile().read("Strings", key);
    return value.empty() ? key : value;
}

std::string installedKey() {
    return "Software\\" + installedSetting("AppRegKey") + "\\Ipp\\PortMonitor\\1.1";
}

}  // namespace velmora::ctl
