#pragma once

#include <string_view>

#include "platform/critical_section.h"

namespace velmora {

class Port;
class PortList;

// The monitor's objects that exist once in a process.

/// Loads every port into a new process-wide list. A list made by an earlier initialiser is
/// abandoned, not freed: the spooler may still hold handles to its ports. When memory runs out the
/// list stays as it was; nothing is reported.
void createPortList() noexcept;

/// The list of the last initialiser; null before the first, and if it could not be made.
PortList* portList() noexcept;

/// The list's first port of that exact name (bytes are compared); null if there is none, or no
/// list.
Port* findPort(std::string_view name) noexcept;

/// Frees every list that was made, for the library's unloading, after which no handle is valid any
/// more. Jobs that were never ended are abandoned as they are: ending one waits for printers and
/// threads, which is not allowed while the loader waits.
void destroyPortLists() noexcept;

/// The one lock of the ANSI generation, held during each of its entries that use ports: the
/// spoolers of that generation do not serialise their calls. Made by the first caller, which is
/// that generation's initialiser.
CriticalSection& monitorLock();

}  // namespace velmora
