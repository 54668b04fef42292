#pragma once

#include <windows.h>

#include <cstddef>
#include <span>
#include <string>

#include "port/spooler.h"

namespace velmora {

class CGroupsDB;
struct PortConfig;

// The commands of the channel.
inline constexpr wchar_t kMonitorUi[] = L"MonitorUI";
inline constexpr wchar_t kAddPort[] = L"AddPort";
inline constexpr wchar_t kDeletePort[] = L"DeletePort";
inline constexpr wchar_t kGetConfigInfo[] = L"GetConfigInfo";
inline constexpr wchar_t kConfigPort[] = L"ConfigPort";
inline constexpr wchar_t kGetGroupsDb[] = L"GetGroupsDB";
inline constexpr wchar_t kSetGroupsDb[] = L"SetGroupsDB";

/// The size of the buffer for a port's record in the dialogs, in bytes. A larger record does not
/// arrive.
inline constexpr std::size_t kRecordArea = 1024;

/// A call of the channel has failed with this Win32 code.
class XcvException {
  public:
    explicit XcvException(DWORD code) noexcept : code_(code) {}
    DWORD code() const noexcept { return code_; }

  private:
    DWORD code_;
};

/// The UI's end of the Xcv channel: commands to the monitor, which may run in another process or on
/// another machine. Every call throws XcvException when the spooler refuses it. The monitor's
/// answers are not checked, except for the directory: storing one that did not arrive would empty
/// the existing one.
class XcvConnection {
  public:
    enum class Kind { monitor, port };

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
    /// For a record larger than kRecordArea an empty one is returned.
    PortConfig getConfigInfo(const std::string& name);

    /// Replaces the contents of `directory`. Throws too when the monitor refuses, and when what it
    /// sends is not a directory (ERROR_INVALID_DATA).
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
