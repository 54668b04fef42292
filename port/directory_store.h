#pragma once

#include "directory/groups_store.h"

namespace velmora {

/// The machine's printer directory: beside the ports, below the monitor's registry key. Until a
/// root group is stored it is called by the interface's text "All groups".
RegistryGroupsStore directoryStore();

}  // namespace velmora
