#include "port/directory_store.h"

#include "port/settings.h"

namespace velmora {

RegistryGroupsStore directoryStore() {
    return {monitorRegistryKey(), lookupText(settingsFile(), "PagePrinterGroups", "All groups")};
}

}  // namespace velmora
