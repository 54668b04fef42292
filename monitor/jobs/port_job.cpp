#include "monitor/jobs/port_job.h"

#include <algorithm>
#include <utility>

#include "monitor/jobs/multi_target_job.h"
#include "monitor/jobs/single_target_job.h"

namespace velmora {
namespace {

constexpr std::size_t kSteadyPiece = 1024;
constexpr std::size_t kPromptPiece = 64 * 1024;

}  // namespace

PortJob::PortJob(JobInfo info, Report report) noexcept : info_(std::move(info)), report_(report) {}

PortJob::~PortJob() {
    endDocument();
    delivery_.reset();
    if (record_ != nullptr) record_->finish();
    report_(info_);
}

bool PortJob::start(const Connect& connectTo, const std::vector<PrintTarget>& targets,
                    AfterJob afterJob, Pace pace) {
    pieceSize_ = pace == Pace::prompt ? kPromptPiece : kSteadyPiece;
    const Connect connect = record_ != nullptr ? record_->watch(connectTo) : connectTo;
    if (targets.empty()) return started_ = true;
    if (targets.size() == 1) {
        delivery_ = std::make_unique<SingleTargetJob>(
            connect, DeliveryOrder{targets.front(), info_.documentName, 1}, afterJob);
    } else {
        delivery_ = std::make_unique<MultiTargetJob>(connect, targets, info_.documentName,
                                                     PacketMemory(), pace);
    }
    return started_ = !delivery_->failed();
}

void PortJob::abandon() noexcept {
    if (record_ != nullptr) record_->abandon();
}

void PortJob::abandon(Report report) noexcept {
    abandon();
    report_ = report;
}

bool PortJob::write(std::span<const std::byte> data, std::uint32_t& accepted) {
    accepted = 0;
    while (!data.empty()) {
        const auto piece = data.first(std::min(data.size(), pieceSize_));
        if (delivery_ == nullptr || !delivery_->write(piece)) return false;
        accepted += static_cast<std::uint32_t>(piece.size());
        data = data.subspan(piece.size());
    }
    return true;
}

void PortJob::endDocument() noexcept {
    try {
        if (delivery_ != nullptr) delivery_->end();
    } catch (...) {
        // No failure here may prevent the rest of the end.
        return;
    }
}

}  // namespace velmora
