#pragma once

#include "platform/critical_section.h"

namespace velmora {

/// The one lock of the ANSI generation, held for the whole of each of its entries that look at
/// ports: the spoolers of that generation do not serialise their calls. Made by the first caller,
/// which is that generation's initialiser.
CriticalSection& monitorLock();

}  // namespace velmora
