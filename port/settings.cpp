#include "port/settings.h"

#include "directory/groups_store.h"

namespace velmora {

const ProfileFile& settingsFile() {
    static const ProfileFile file(systemDirectory() + "\\Velmora.dat");
    return file;
}

std::string readSetting(const std::string& text) {
    return lookupText(settingsFile(), "Strings", text);
}

std::string monitorDisplayName() {
    return readSetting("Port Monitor Name");
}

const std::string& appRegKey() {
    static const std::string key = readSetting("AppRegKey");
    return key;
}

std::string monitorRegistryKey() {
    return monitorRegistryKey(appRegKey());
}

std::string monitorRegistryKey(const std::string& company) {
    return "Software\\" + company + "\\Ipp\\PortMonitor\\1.1";
}

RegistryGroupsStore directoryStore() {
    return {monitorRegistryKey(), lookupText(settingsFile(), "PagePrinterGroups", "All groups")};
}

}  // namespace velmora
