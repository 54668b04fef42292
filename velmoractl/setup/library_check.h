#pragma once

#include <windows.h>

#include <string>

namespace velmora::ctl {

/// Whether an older library may replace a newer one.
enum class Downgrade { refused, allowed };

/// What this program is made for: IMAGE_FILE_MACHINE_I386 or IMAGE_FILE_MACHINE_AMD64.
WORD ownMachine() noexcept;
/// What a program or library is made for; 0 if the file is neither, or cannot be read.
WORD machineOf(const std::string& path);

/// Throws CommandError unless the file is a whole Velmora.dll for that kind of Windows, and not
/// older than the one in `installed`, if there is one. `name` is what the user calls the file.
void checkLibrary(const std::string& path, const std::string& name, const std::string& installed,
                  Downgrade downgrade, WORD machine = ownMachine());

}  // namespace velmora::ctl
