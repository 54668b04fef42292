#pragma once

#include <optional>
#include <string>

#include "velmoractl/setup/computer.h"
#include "velmoractl/setup/placed_file.h"

namespace velmora::ctl {

// The steps of "install": files, registry and registration with the spooler, all or none.

inline constexpr char kLibrary[] = "Velmora.dll";
inline constexpr char kSettings[] = "Velmora.dat";
inline constexpr char kNoPolicy[] = "none";

/// The options of "install" and "uninstall".
struct SetupOptions {
    std::string from;
    std::string language;
    bool replaceSettings = false;
    bool allowDowngrade = false;
    bool restartSpooler = false;
    std::string policy;
    std::string ports;
    bool dryRun = false;
};

/// What was done with the settings file; empty if it was kept.
using SettingsChange = std::optional<FileChange>;

enum class PolicyChange { kept, leftOut, written };

struct Installed {
    FileChange library;
    SettingsChange settings;
    PolicyChange policy;
    bool registered;  ///< false: it was registered already
};

/// Where the files come from if no --from is given: this program's folder, or the one beside it for
/// the computer's kind of Windows.
std::string defaultSource(const Computer& computer);

/// Sets the monitor up from the files in the folder `from`. Throws CommandError, which says what
/// has been undone and what could not be.
Installed installOn(const Computer& computer, const SetupOptions& options, const std::string& from,
                    const std::string& what);

/// Deletes the libraries that were in use when newer ones took their place. True if one still is:
/// the spooler runs an old one.
bool oldLibraryInUse(const Computer& computer);

}  // namespace velmora::ctl
