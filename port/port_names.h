#pragma once

#include <string>
#include <vector>

#include "port/spooler.h"

namespace velmora {

/// The names of all ports, of every monitor, that the spooler of `server` lists (empty: this
/// machine). Empty when the spooler does not answer: it then refuses the new port itself.
/// EnumPortsA.
std::vector<std::string> spoolerPortNames(const SpoolerFunctions& spooler,
                                          const std::string& server);

}  // namespace velmora
