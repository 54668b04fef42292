#include "monitor/directory_store.h"

#include "monitor/settings.h"

namespace velmora {

RegistryGroupsStore directoryStore() {
    return {monitorRegistryKey(), lookupText(settingsFile(), "PagePrinterGroups", "All groups")};
}

}  // namespace velmora
