#include "monitor/job_entries.h"
#include "monitor/process_objects.h"

#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "directory/groups_db.h"
#include "directory/groups_store.h"
#include "monitor/delivery_output.h"
#include "monitor/jobs/ipp_delivery.h"
#include "monitor/jobs/port_job.h"
#include "monitor/port_list.h"
#include "platform/own_identity.h"
#include "platform/text.h"
#include "port/entry_guard.h"
#include "port/policy_store.h"
#include "port/port_config.h"
#include "port/settings.h"
#include "port/spooler.h"
#include "port/targets.h"

namespace velmora {
namespace {

// The document information of every level begins with the three fields of DOC_INFO_1, so the level
// does not matter: only the document's name is used.

const char* documentName(const BYTE* docInfo, char*) {
    return reinterpret_cast<const DOC_INFO_1A*>(docInfo)->pDocName;
}

const wchar_t* documentName(const BYTE* docInfo, wchar_t*) {
    return reinterpret_cast<const DOC_INFO_1W*>(docInfo)->pDocName;
}

std::string ansi(const char* text) {
    return text;
}

std::string ansi(const wchar_t* text) {
    return toAnsi(text);
}

std::wstring wide(const char* text) {
    return toWide(text);
}

std::wstring wide(const wchar_t* text) {
    return text;
}

/// The directory is read for every job, since other processes change it; and only for ports that
/// use it.
std::vector<PrintTarget> currentTargets(const PortConfig& config) {
    if (config.singleTarget != 0) return targetsOf(config, CGroupsDB());
    // The directory belongs to the system and its administrators; whoever prints is neither.
    const OwnIdentity identity;
    RegistryGroupsStore store = directoryStore();
    return targetsOf(config, CGroupsDB(store));
}

void reportSent(const JobInfo& info) {
    spooler().setJob(info.printerHandle, info.jobId, 0, nullptr, JOB_CONTROL_SENT_TO_PRINTER);
    spooler().closePrinter(info.printerHandle);
}

void closePrinter(const JobInfo& info) {
    spooler().closePrinter(info.printerHandle);
}

/// A job that was never ended is abandoned, not ended: nobody knows whether one of the spooler's
/// threads is still in it, unless it could not start. The spooler does not end those and tries
/// again and again; they are kept all the same where nothing is closed at a job's end.
void giveUp(std::unique_ptr<PortJob> job, const Policy& policy) noexcept {
    if (job == nullptr) return;
    if (policy.closeConnections != 0 && !job->started()) {
        job->abandon(closePrinter);
    } else {
        job->abandon();
        static_cast<void>(job.release());
    }
}

/// Attaches a job to the port. One that fails to start stays attached all the same, for the end.
bool startJob(Port& port, char* printerName, JobInfo info, const std::wstring& document) {
    auto job = std::make_unique<PortJob>(std::move(info), reportSent);
    // A printer that cannot be opened does not stop the job: it only goes unreported at its end,
    // where the null handle is passed on.
    spooler().openPrinter(printerName, &job->info().printerHandle, nullptr);

    const Policy policy = machinePolicy();
    giveUp(std::exchange(port.job, std::move(job)), policy);
    // A copy: connecting takes long, and the port may be reconfigured in the meantime.
    const PortConfig config = *port.config();
    const auto connect = [options = connectionOptions(policy),
                          job = config.jobTemplate](const DeliveryOrder& order) {
        return connectToPrinter(order, job, options);
    };
    const std::vector<PrintTarget> targets = currentTargets(config);
    port.job->recordIn(
        newJobRecord(policy, config.name, port.job->info().jobId, document, targets));
    return port.job->start(connect, targets,
                           policy.closeConnections != 0 ? AfterJob::close : AfterJob::leaveOpen,
                           policy.promptDelivery != 0 ? Pace::prompt : Pace::steady);
}

template <class Char>
BOOL startDocPort(HANDLE port, Char* printer, DWORD job, const BYTE* docInfo) {
    if (port == nullptr || docInfo == nullptr) return FALSE;
    const Char* const name = documentName(docInfo, printer);
    if (name == nullptr) return FALSE;
    return guardedEntry([&]() -> BOOL {
        std::string printerName = printer == nullptr ? std::string() : ansi(printer);
        return startJob(*static_cast<Port*>(port),
                        printer == nullptr ? nullptr : printerName.data(), {job, ansi(name)},
                        wide(name));
    });
}

}  // namespace

BOOL WINAPI startDocPortW(HANDLE port, wchar_t* printer, DWORD job, DWORD, BYTE* docInfo) {
    return startDocPort(port, printer, job, docInfo);
}

BOOL WINAPI startDocPortA(HANDLE port, char* printer, DWORD job, DWORD, BYTE* docInfo) {
    const std::lock_guard lock(monitorLock());
    return startDocPort(port, printer, job, docInfo);
}

BOOL WINAPI writePort(HANDLE port, BYTE* buffer, DWORD size, DWORD* written) {
    if (size == 0) return TRUE;
    std::uint32_t accepted = 0;
    const BOOL result =
        port != nullptr && buffer != nullptr && guardedEntry([&] {
            PortJob* const job = static_cast<Port*>(port)->job.get();
            return job != nullptr && job->write(std::as_bytes(std::span(buffer, size)), accepted);
        });
    if (written != nullptr) *written = accepted;
    return result;
}

BOOL WINAPI writePortA(HANDLE port, BYTE* buffer, DWORD size, DWORD* written) {
    const std::lock_guard lock(monitorLock());
    return writePort(port, buffer, size, written);
}

BOOL WINAPI endDocPort(HANDLE port) {
    if (port != nullptr) static_cast<Port*>(port)->job.reset();
    return TRUE;
}

BOOL WINAPI endDocPortA(HANDLE port) {
    const std::lock_guard lock(monitorLock());
    return endDocPort(port);
}

}  // namespace velmora
