#pragma once

#include <string>

namespace velmora::ctl {

/// Whether an older library may take the place of a newer one.
enum class Downgrade { refused, allowed };

/// Throws CommandError unless the file is a whole Velmora.dll for this program's kind of Windows,
/// and not older than the one in `installed`, if there is one. `name` is what the user calls the
/// file.
void checkLibrary(const std::string& path, const std::string& name, const std::string& installed,
                  Downgrade downgrade);

}  // namespace velmora::ctl
