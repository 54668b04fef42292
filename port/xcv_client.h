#pragma once

#include <windows.h>

#include <span>
#include <string>

#include "directory/groups_db.h"
#include "port/port_config.h"
#include "port/spooler.h"

namespace velmora {

/// A call of the channel has failed, with the Win32 code that it gave.
class XcvException {
  public:
    explicit XcvException(DWORD code) noexcept : code_(code) {}
    DWORD code() const noexcept { return code_; }

  private:
    DWORD code_;
};

/// The UI's end of the Xcv channel: commands to the monitor, which may run in another process or on
/// another machine. Every call throws XcvException when the spooler refuses it. What the monitor
/// answers is not examined, except where the directory travels: storing a directory that did not
/// arrive would empty the one that is there.
class XcvConnection {
  public:
    enum class Kind { Monitor, Port };

    /// Opens the channel to the monitor or port `name` with the right to administer. `server` may
    /// be empty: this machine. OpenPrinterA.
    XcvConnection(const SpoolerFunctions& spooler, const std::string& server, Kind kind,
                  const std::string& name);
    ~XcvConnection();
    XcvConnection(const XcvConnection&) = delete;
    XcvConnection& operator=(const XcvConnection&) = delete;

    /// XcvDataW; returns the command's status.
    DWORD call(const wchar_t* command, std::span<const std::byte> input,
               std::span<std::byte> output);

    /// Names of new ports end after 1024 characters.
    void addPort(const std::string& name);
    void deletePort(const std::string& name);
    void configPort(const PortConfig& config);
    /// A record of more than 1024 bytes does not arrive; an empty one comes back instead.
    PortConfig getConfigInfo(const std::string& name);

    /// Replaces the contents of `directory`. Throws too when the monitor refuses, and when what it
    /// sends is no directory (ERROR_INVALID_DATA).
    void getGroupsDB(CGroupsDB& directory);
    /// Throws too when the monitor refuses.
    void setGroupsDB(const CGroupsDB& directory);

  private:
    DWORD call(const wchar_t* command, std::span<const std::byte> input,
               std::span<std::byte> output, DWORD& needed);
    void callOrThrow(const wchar_t* command, std::span<const std::byte> input,
                     std::span<std::byte> output);
    void sendName(const wchar_t* command, const std::wstring& name);

    const SpoolerFunctions& spooler_;
    HANDLE handle_ = nullptr;
};

/// The part of a port name that fits into the channel: its first 1024 characters.
std::string portNameForChannel(const std::string& name);

}  // namespace velmora
