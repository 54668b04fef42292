#pragma once

#include <windows.h>

#include <string>

namespace velmora::ctl {

// The platform's printing setup: registering monitors, and the files and the key that belong to
// one.

/// Whether the spooler lists the monitor. Throws CommandError when the spooler cannot be asked:
/// "stopped" is not "no". EnumMonitorsA.
bool monitorInstalled(const std::string& server, const std::string& monitor);

/// 0, ERROR_PRINT_MONITOR_ALREADY_INSTALLED, or why not. `library` is a file of that computer's
/// system directory, made for `machine` (IMAGE_FILE_MACHINE_...). AddMonitorA.
DWORD addMonitor(const std::string& server, const std::string& monitor, const std::string& library,
                 WORD machine);
/// 0, ERROR_PRINT_MONITOR_IN_USE, or why not. DeleteMonitorA.
DWORD deleteMonitor(const std::string& server, const std::string& monitor);

// `root` is a computer's HKEY_LOCAL_MACHINE.

/// Makes `path` below it if needed, and lets only the system and administrators read and write it
/// and all below it: ports and printers keep passwords there. 0 or why not.
DWORD restrictKey(const std::string& path, HKEY root = HKEY_LOCAL_MACHINE);
/// Whether the key has exactly those rights.
bool isRestricted(const std::string& path, HKEY root = HKEY_LOCAL_MACHINE);

/// Lets the Windows event log find the texts of the monitor's events in `library`: a full path,
/// which may hold %SystemRoot%. False if the registry cannot be written.
bool registerEventSource(const std::string& library, HKEY root = HKEY_LOCAL_MACHINE);
bool hasEventSource(HKEY root = HKEY_LOCAL_MACHINE);
/// False if it is still there.
bool removeEventSource(HKEY root = HKEY_LOCAL_MACHINE);

bool hasKey(const std::string& path, HKEY root);
/// Deletes the key with all below it, and removeEmptyKeys(). False if it is still there.
bool removeKey(const std::string& path, HKEY root);
/// Removes the keys above the deleted key `path` up to "Software" that hold nothing any more.
void removeEmptyKeys(const std::string& path, HKEY root = HKEY_LOCAL_MACHINE);

/// The result of deleting a file. A file in use gets another name: on this computer it is deleted
/// at the next start of Windows, on another computer it stays.
enum class FileRemoval { absent, removed, atNextStart, renamed };
FileRemoval removeFile(const std::string& path);

bool fileExists(const std::string& path);

/// The version in a library's resources, "1.0.0.0"; empty when it has none.
std::string fileVersion(const std::string& path);

/// A 32-bit program on 64-bit Windows sees another system directory than the spooler.
bool isWrongBitness();

}  // namespace velmora::ctl
