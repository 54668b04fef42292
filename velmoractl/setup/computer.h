#pragma once

#include <windows.h>

#include <string>

#include "platform/handle.h"
#include "platform/profile_file.h"

namespace velmora::ctl {

/// The computer that the monitor is set up on: this one, or another one, whose files are reached
/// through its administrators' share (ADMIN$) and its settings through its remote registry.
class Computer {
  public:
    /// `server` is "\\NAME", or empty for this computer. Changes nothing there. Throws
    /// CommandError, which begins with `what`, if the share or the registry cannot be reached.
    Computer(const std::string& server, const std::string& what);

    const std::string& server() const noexcept { return server_; }
    bool isLocal() const noexcept { return server_.empty(); }

    /// Its system directory as it is reached from here, without a trailing backslash.
    const std::string& systemFolder() const noexcept { return system_; }
    std::string file(const std::string& name) const { return system_ + "\\" + name; }
    /// The path of a file in its system directory as its own programs write it; may hold
    /// %SystemRoot%.
    std::string ownPath(const std::string& name) const;

    /// Its HKEY_LOCAL_MACHINE.
    HKEY registry() const noexcept { return isLocal() ? HKEY_LOCAL_MACHINE : registry_.get(); }
    ProfileFile settings() const { return ProfileFile(file("Velmora.dat")); }
    /// "Port Monitor Name" or "AppRegKey", as installedSetting() has them for this computer.
    std::string setting(const char* key) const;
    /// The monitor's key below its HKEY_LOCAL_MACHINE.
    std::string monitorKey() const;

    /// What its spooler's libraries must be made for: IMAGE_FILE_MACHINE_I386 or another.
    WORD machine() const noexcept { return machine_; }

  private:
    std::string server_;
    std::string system_;
    UniqueRegKey registry_;
    WORD machine_;
};

}  // namespace velmora::ctl
