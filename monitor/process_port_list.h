#pragma once

#include "monitor/port_list.h"

namespace velmora {

/// Loads every port into a new process-wide list. A list made by an earlier initialiser is
/// abandoned, not freed: the spooler may still hold handles to its ports. When memory runs out the
/// list stays as it was; nothing is reported.
void createPortList() noexcept;

/// The list of the last initialiser; null before the first, and when it could not be made.
PortList* portList() noexcept;

/// Frees every list that was made, for the library's unloading, after which no handle means
/// anything any more. Jobs that were never ended are abandoned as they are: ending one waits for
/// printers and threads, which nobody may do while the loader waits.
void destroyPortLists() noexcept;

}  // namespace velmora
