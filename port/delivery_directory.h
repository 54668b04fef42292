#pragma once

#include <cstdint>
#include <string>

namespace velmora {

/// Where the record of deliveries is, below the spooler's own directory. No trailing backslash.
std::string deliveryDirectory();
/// The same of a computer with that system directory.
std::string deliveryDirectory(const std::string& systemDirectory);

/// The source that deliveries have in the Windows event log.
inline constexpr char kEventSource[] = "Velmora";

/// Makes the directory if it is missing, readable by administrators and the system alone: names of
/// documents and users are personal data. A directory that is there keeps its rights. 0, or the
/// Win32 code. CreateDirectoryA.
std::uint32_t makeDeliveryDirectory();
std::uint32_t makeDeliveryDirectory(const std::string& systemDirectory);

}  // namespace velmora
