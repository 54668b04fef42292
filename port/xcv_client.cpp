#include "port/xcv_client.h"

#include <array>
#include <vector>

#include "directory/groups_db.h"
#include "platform/text.h"
#include "port/port_config.h"

namespace velmora {
namespace {

constexpr std::size_t kLongestName = 1024;
constexpr int kMoreTries = 10;  ///< to fetch a directory that grows in the meantime

std::wstring wideName(const std::string& name) {
    return toWide(name).substr(0, kLongestName);
}

}  // namespace

std::string portNameForChannel(const std::string& name) {
    return toAnsi(wideName(name));
}

XcvConnection::XcvConnection(const SpoolerFunctions& spooler, const std::string& server, Kind kind,
                             const std::string& name)
    : spooler_(spooler) {
    std::string printer = server;
    if (!printer.empty()) printer += '\\';
    printer += kind == Kind::monitor ? ",XcvMonitor " : ",XcvPort ";
    printer += name;
    PRINTER_DEFAULTSA defaults{nullptr, nullptr, SERVER_ACCESS_ADMINISTER};
    if (!spooler_.openPrinter(printer.data(), &handle_, &defaults))
        throw XcvException(GetLastError());
}

XcvConnection::~XcvConnection() {
    if (handle_ != nullptr) spooler_.closePrinter(handle_);
}

DWORD XcvConnection::call(const wchar_t* command, std::span<const std::byte> input,
                          std::span<std::byte> output, DWORD& needed) {
    DWORD status = ERROR_SUCCESS;
    // The spooler only reads the input, but its declaration does not say so.
    auto* const bytes = reinterpret_cast<BYTE*>(const_cast<std::byte*>(input.data()));
    if (!spooler_.xcvData(handle_, command, bytes, static_cast<DWORD>(input.size()),
                          reinterpret_cast<BYTE*>(output.data()), static_cast<DWORD>(output.size()),
                          &needed, &status))
        throw XcvException(GetLastError());
    return status;
}

DWORD XcvConnection::call(const wchar_t* command, std::span<const std::byte> input,
                          std::span<std::byte> output) {
    DWORD needed = 0;
    return call(command, input, output, needed);
}

void XcvConnection::callOrThrow(const wchar_t* command, std::span<const std::byte> input,
                                std::span<std::byte> output) {
    const DWORD status = call(command, input, output);
    if (status != ERROR_SUCCESS) throw XcvException(status);
}

void XcvConnection::sendName(const wchar_t* command, const std::wstring& wide) {
    call(command, std::as_bytes(std::span(wide.c_str(), wide.size() + 1)), {});
}

void XcvConnection::addPort(const std::string& name) {
    sendName(kAddPort, wideName(name));
}

void XcvConnection::deletePort(const std::string& name) {
    sendName(kDeletePort, toWide(name));
}

void XcvConnection::configPort(const PortConfig& config) {
    call(kConfigPort, pack(config), {});
}

PortConfig XcvConnection::getConfigInfo(const std::string& name) {
    std::array<std::byte, kRecordArea> area{};
    call(kGetConfigInfo, std::as_bytes(std::span(name.c_str(), name.size() + 1)), area);
    return unpack(area).value_or(PortConfig());
}

void XcvConnection::getGroupsDB(CGroupsDB& directory) {
    DWORD needed = 0;
    DWORD status = call(kGetGroupsDb, {}, {}, needed);
    if (status != ERROR_SUCCESS && status != ERROR_INSUFFICIENT_BUFFER) throw XcvException(status);
    std::vector<std::byte> payload(needed);
    status = call(kGetGroupsDb, {}, payload, needed);
    // Somebody else may have made the directory larger in the meantime.
    for (int tries = 0;
         tries < kMoreTries && status == ERROR_INSUFFICIENT_BUFFER && needed > payload.size();
         ++tries) {
        payload.resize(needed);
        status = call(kGetGroupsDb, {}, payload, needed);
    }
    if (status != ERROR_SUCCESS) throw XcvException(status);
    if (!directory.Deserialize(payload)) throw XcvException(ERROR_INVALID_DATA);
}

void XcvConnection::setGroupsDB(const CGroupsDB& directory) {
    std::vector<std::byte> payload(directory.GetSize());
    directory.Serialize(payload.data());
    callOrThrow(kSetGroupsDb, payload, {});
}

}  // namespace velmora
