#include "velmoractl/setup/spooler_service.h"

#include <winsvc.h>

#include <algorithm>
#include <span>

#include "platform/handle.h"
#include "velmoractl/text/console.h"

namespace velmora::ctl {
namespace {

constexpr char kSpooler[] = "Spooler";
constexpr DWORD kMilliseconds = 60'000;
constexpr DWORD kPause = 100;

using UniqueService = UniqueHandle<SC_HANDLE, CloseServiceHandle>;

/// Reads a list of the system into one buffer: asks for the size first. Empty if the list is empty
/// or cannot be read.
template <class Call>
std::vector<BYTE> listed(const Call& call) {
    DWORD needed = 0;
    std::vector<BYTE> area;
    while (!call(area.data(), static_cast<DWORD>(area.size()), needed)) {
        if (needed <= area.size()) return {};
        area.resize(needed);
    }
    return area;
}

UniqueService openService(SC_HANDLE manager, const std::string& name) {
    return UniqueService(OpenServiceA(
        manager, name.c_str(),
        SERVICE_QUERY_STATUS | SERVICE_START | SERVICE_STOP | SERVICE_ENUMERATE_DEPENDENTS));
}

/// 0 if the service is in the state before time runs out, or why not.
DWORD waitFor(SC_HANDLE service, DWORD state) {
    const DWORD start = GetTickCount();
    SERVICE_STATUS status{};
    for (;;) {
        if (!QueryServiceStatus(service, &status)) return GetLastError();
        if (status.dwCurrentState == state) return 0;
        // Waiting does not help with a service that ends while it starts.
        if (state == SERVICE_RUNNING && status.dwCurrentState == SERVICE_STOPPED) {
            return status.dwWin32ExitCode != 0 ? status.dwWin32ExitCode
                                               : DWORD{ERROR_SERVICE_NOT_ACTIVE};
        }
        if (GetTickCount() - start > kMilliseconds) return ERROR_SERVICE_REQUEST_TIMEOUT;
        Sleep(kPause);
    }
}

DWORD stop(SC_HANDLE service) {
    SERVICE_STATUS status{};
    if (!ControlService(service, SERVICE_CONTROL_STOP, &status)) {
        const DWORD error = GetLastError();
        if (error == ERROR_SERVICE_NOT_ACTIVE) return 0;
        // A service that is stopping or starting accepts no controls.
        if (error != ERROR_SERVICE_CANNOT_ACCEPT_CTRL) return error;
    }
    return waitFor(service, SERVICE_STOPPED);
}

DWORD start(SC_HANDLE service) {
    if (!StartServiceA(service, 0, nullptr)) {
        const DWORD error = GetLastError();
        if (error != ERROR_SERVICE_ALREADY_RUNNING) return error;
    }
    return waitFor(service, SERVICE_RUNNING);
}

/// The running services that need this one, in the order in which they can be stopped.
std::vector<std::string> dependents(SC_HANDLE service) {
    DWORD count = 0;
    const std::vector<BYTE> area = listed([&](BYTE* to, DWORD size, DWORD& needed) {
        return EnumDependentServicesA(service, SERVICE_ACTIVE,
                                      reinterpret_cast<ENUM_SERVICE_STATUSA*>(to), size, &needed,
                                      &count);
    });
    std::vector<std::string> names;
    if (area.empty()) return names;
    for (const auto& one :
         std::span(reinterpret_cast<const ENUM_SERVICE_STATUSA*>(area.data()), count))
        names.emplace_back(one.lpServiceName);
    return names;
}

CommandError stillRunning(DWORD error) {
    return {ExitCode::restartNeeded, "stopping the print spooler", errorText(error),
            "restart it by hand: net stop spooler, then net start spooler"};
}

}  // namespace

std::vector<WaitingJob> waitingJobs(const std::string& server, const QueueFunctions& spooler) {
    std::string computer = server;
    char* const where = computer.empty() ? nullptr : computer.data();
    const DWORD kind = server.empty() ? PRINTER_ENUM_LOCAL : PRINTER_ENUM_NAME;
    DWORD printers = 0;
    const std::vector<BYTE> area = listed([&](BYTE* to, DWORD size, DWORD& needed) {
        return spooler.enumPrinters(kind, where, 2, to, size, &needed, &printers);
    });
    std::vector<WaitingJob> waiting;
    if (area.empty()) return waiting;
    for (const auto& printer :
         std::span(reinterpret_cast<const PRINTER_INFO_2A*>(area.data()), printers)) {
        HANDLE handle = nullptr;
        if (!spooler.openPrinter(printer.pPrinterName, &handle, nullptr)) continue;
        DWORD count = 0;
        const std::vector<BYTE> jobs = listed([&](BYTE* to, DWORD size, DWORD& needed) {
            return spooler.enumJobs(handle, 0, MAXDWORD, 1, to, size, &needed, &count);
        });
        spooler.closePrinter(handle);
        if (jobs.empty()) continue;
        for (const auto& job :
             std::span(reinterpret_cast<const JOB_INFO_1A*>(jobs.data()), count)) {
            waiting.push_back(
                {printer.pPrinterName, job.JobId, job.pDocument != nullptr ? job.pDocument : ""});
        }
    }
    return waiting;
}

void restartSpooler(const std::string& server) {
    const UniqueService manager(
        OpenSCManagerA(server.empty() ? nullptr : server.c_str(), nullptr, SC_MANAGER_CONNECT));
    const UniqueService spooler = manager ? openService(manager.get(), kSpooler) : UniqueService();
    if (!spooler) throw stillRunning(GetLastError());
    const std::vector<std::string> others = dependents(spooler.get());
    DWORD error = 0;
    for (const std::string& name : others) {
        const UniqueService other = openService(manager.get(), name);
        error = other ? stop(other.get()) : GetLastError();
        if (error != 0) break;
    }
    if (error == 0) error = stop(spooler.get());
    const DWORD started = start(spooler.get());
    // The services that were running are started again, whether the spooler runs or not.
    for (auto name = others.rbegin(); started == 0 && name != others.rend(); ++name) {
        if (const UniqueService other = openService(manager.get(), *name)) start(other.get());
    }
    if (started != 0) {
        throw CommandError(ExitCode::failed, "starting the print spooler", errorText(started),
                           "nothing can be printed until it runs: net start spooler",
                           "spooler-unavailable");
    }
    if (error != 0) throw stillRunning(error);
}

}  // namespace velmora::ctl
