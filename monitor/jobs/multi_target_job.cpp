#include "monitor/jobs/multi_target_job.h"

#include <cstdint>

#include "monitor/jobs/target_worker.h"

namespace velmora {
namespace {

constexpr std::uint32_t kEndStepMilliseconds = 1000;
/// A worker that looked just before the last pulse and waited just after it must not cost the job a
/// second.
constexpr std::uint32_t kPromptEndStepMilliseconds = 20;

}  // namespace

MultiTargetJob::MultiTargetJob(const Connect& connect, const std::vector<PrintTarget>& targets,
                               const std::string& documentName, const PacketMemory& memory,
                               Pace pace)
    : pace_(pace), queue_(targets.size(), memory), workers_(targets.size()) {
    // Nothing below may throw: the workers that run already use the queue.
    for (std::size_t slot = 0; slot < targets.size(); ++slot) {
        workers_[slot] = startWorker(slot, connect, targets[slot], documentName);
        if (workers_[slot] == nullptr) queue_.abandonSlot(slot);
    }
}

MultiTargetJob::~MultiTargetJob() {
    // Without an end the workers would wait for ever. The spooler always ends a job before it drops
    // it; this is for errors.
    if (!queue_.ended()) queue_.end();
    const std::uint32_t step =
        pace_ == Pace::prompt ? kPromptEndStepMilliseconds : kEndStepMilliseconds;
    for (auto& worker : workers_) {
        if (worker == nullptr) continue;
        // A pulse reaches only those who wait at that moment; a worker that was busy sending gets
        // one of the next.
        do {
            queue_.wakeReaders();
        } while (!worker->waitForEnd(step));
    }
}

bool MultiTargetJob::write(std::span<const std::byte> piece) {
    if (pace_ == Pace::steady) return queue_.write({piece});
    const ChunkFrame frame(piece.size());
    return queue_.write({std::as_bytes(std::span(frame.sizeLine())), piece,
                         std::as_bytes(std::span(ChunkFrame::kEnd))});
}

bool MultiTargetJob::end() {
    return queue_.end();
}

std::unique_ptr<TargetWorker> MultiTargetJob::startWorker(std::size_t slot, const Connect& connect,
                                                          const PrintTarget& target,
                                                          const std::string& documentName) try {
    auto worker = std::make_unique<TargetWorker>(
        queue_, slot, connect, DeliveryOrder{target, documentName, slot + 1}, pace_);
    if (!worker->start()) return nullptr;
    return worker;
} catch (...) {
    // One printer less; the others get the document.
    return nullptr;
}

}  // namespace velmora
