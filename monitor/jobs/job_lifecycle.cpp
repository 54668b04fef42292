#include "monitor/jobs/job_lifecycle.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "monitor/entry_guard.h"
#include "monitor/jobs/ipp_job_platform.h"
#include "monitor/jobs/multi_target_job.h"
#include "monitor/jobs/single_target_job.h"
#include "port/directory_store.h"
#include "port/spooler.h"
#include "port/targets.h"

namespace velmora {
namespace {

constexpr std::size_t kPieceSize = 1024;

std::vector<PrintTarget> resolveTargets(const PortConfig& config) {
    if (config.singleTarget != 0) return {ownTarget(config)};
    RegistryGroupsStore store = directoryStore();
    return directoryTargets(config, store);
}

std::unique_ptr<PrintJob> makeJob(const PortConfig& config, const std::string& documentName) {
    const std::vector<PrintTarget> targets = resolveTargets(config);
    if (targets.empty()) return nullptr;
    if (targets.size() == 1) {
        return std::make_unique<SingleTargetJob>(targets.front(), documentName, config.jobTemplate);
    }
    return std::make_unique<MultiTargetJob>(targets, documentName, config.jobTemplate,
                                            ippJobPlatform());
}

}  // namespace

bool startJob(Port& port, JobOrder order) {
    auto info = std::make_unique<JobInfo>();
    info->jobId = order.jobId;
    info->documentName = std::move(order.documentName);
    // A printer that cannot be opened does not stop the job: it only goes unreported at its end,
    // where the null handle is passed on.
    spooler().openPrinter(order.printerName, &info->printerHandle, nullptr);

    static_cast<void>(port.job.release());
    static_cast<void>(port.jobInfo.release());
    port.jobInfo = std::move(info);
    // A copy: connecting takes long, and the port may be configured anew meanwhile.
    const PortConfig config = *port.config();
    port.job = makeJob(config, port.jobInfo->documentName);
    return port.job == nullptr || !port.job->failed();
}

bool writeJob(Port& port, std::span<const std::byte> data, std::uint32_t& accepted) {
    accepted = 0;
    while (!data.empty()) {
        const auto piece = data.first(std::min(data.size(), kPieceSize));
        if (port.jobInfo == nullptr || port.job == nullptr) return false;
        if (!port.job->write(piece.data(), piece.size())) return false;
        accepted += static_cast<std::uint32_t>(piece.size());
        data = data.subspan(piece.size());
    }
    return true;
}

void endJob(Port& port) noexcept {
    if (port.jobInfo == nullptr) return;
    if (port.job != nullptr) {
        // What the printer answered is not reported; nothing on the way may keep the rest from
        // being done.
        guardedEntry(false, [&] { return port.job->write(nullptr, 0); });
        port.job.reset();
    }
    const HANDLE printer = port.jobInfo->printerHandle;
    const DWORD jobId = port.jobInfo->jobId;
    port.jobInfo.reset();
    spooler().setJob(printer, jobId, 0, nullptr, JOB_CONTROL_SENT_TO_PRINTER);
    spooler().closePrinter(printer);
}

}  // namespace velmora
