#include "monitor/jobs/job_record.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "port/url_text.h"

namespace velmora {
namespace {

constexpr std::uint32_t kNoMemory = 8;  // ERROR_NOT_ENOUGH_MEMORY

/// Of a delivery without its printer's answer.
DeliveryOutcome unansweredOutcome(std::uint64_t bytes, const DeliveryReason& reason) noexcept {
    if (reason.step == DeliveryStep::answer) return DeliveryOutcome::noAnswer;
    return bytes == 0 ? DeliveryOutcome::notReached : DeliveryOutcome::incomplete;
}

}  // namespace

/// Passes every call on and remembers its result.
class JobRecord::Watched final : public Delivery {
  public:
    Watched(std::shared_ptr<JobRecord> record, Printer& printer, std::unique_ptr<Delivery> inner)
        : record_(std::move(record)), printer_(printer), inner_(std::move(inner)) {}
    ~Watched() override {
        if (!leftOpen_ && inner_->failed()) record_->fail(printer_, inner_->reason());
        inner_.reset();
        record_->endWithoutAnswer(printer_);
    }

    bool failed() const override { return inner_->failed(); }
    bool write(std::span<const std::byte> piece) override {
        return count(inner_->write(piece), piece.size());
    }
    bool writeChunk(std::span<const std::byte> chunk) override {
        return count(inner_->writeChunk(chunk), dataOfChunk(chunk).size());
    }
    bool end() override {
        ended_ = inner_->end();
        if (!ended_) record_->fail(printer_, inner_->reason());
        return ended_;
    }
    bool accepted() override {
        const bool result = inner_->accepted();
        const DeliveryReason reason = inner_->reason();
        if (reason.ippStatus) {
            record_->tell(
                printer_,
                isSuccess(*reason.ippStatus) ? DeliveryOutcome::accepted : DeliveryOutcome::refused,
                reason);
        } else if (ended_) {
            record_->tell(printer_, DeliveryOutcome::noAnswer, reason);
        }
        return result;
    }
    void leaveOpen() noexcept override {
        leftOpen_ = true;
        inner_->leaveOpen();
    }
    DeliveryReason reason() const override { return inner_->reason(); }

  private:
    bool count(bool written, std::size_t bytes) {
        if (written) {
            printer_.bytes.fetch_add(bytes, std::memory_order_relaxed);
        } else {
            record_->fail(printer_, inner_->reason());
        }
        return written;
    }

    std::shared_ptr<JobRecord> record_;
    Printer& printer_;
    std::unique_ptr<Delivery> inner_;
    bool ended_ = false;
    bool leftOpen_ = false;
};

JobRecord::JobRecord(DeliveryEntry job, Write write, Clock clock)
    : job_(std::move(job)), write_(std::move(write)), clock_(clock) {}

void JobRecord::setPrinters(const std::vector<std::string>& utf8Urls) {
    for (const std::string& url : utf8Urls) {
        auto one = std::make_unique<Printer>();
        one->number = static_cast<std::uint32_t>(printers_.size() + 1);
        one->url = withoutUserInfo(url);
        one->begin = clock_();
        printers_.push_back(std::move(one));
    }
    if (!printers_.empty()) return;
    // A job that reaches no printer is reported as well.
    DeliveryEntry entry = job_;
    entry.time = clock_();
    entry.outcome = DeliveryOutcome::notReached;
    entry.reason.step = DeliveryStep::resolve;
    write_(std::move(entry), false);
}

Connect JobRecord::watch(Connect connect) {
    return [record = shared_from_this(), connect = std::move(connect)](const DeliveryOrder& order) {
        return record->connect(connect, order);
    };
}

std::unique_ptr<Delivery> JobRecord::connect(const Connect& connect, const DeliveryOrder& order) {
    Printer* const one = printer(order.position);
    if (one == nullptr) return connect(order);
    begin(*one);
    ConnectReport report;
    DeliveryOrder reported = order;
    reported.report = &report;
    std::unique_ptr<Delivery> delivery;
    try {
        delivery = connect(reported);
    } catch (...) {
        report.reason = {DeliveryStep::connect, kNoMemory, 0, {}};
        tell(*one, DeliveryOutcome::notReached, report.reason, printers_.size() == 1);
        throw;
    }
    one->user = std::move(report.userName);
    // The only printer that cannot be reached: the spooler is told, and tries again.
    const bool onlyOne = printers_.size() == 1;
    if (delivery == nullptr) {
        tell(*one, DeliveryOutcome::notReached, report.reason, onlyOne);
        return nullptr;
    }
    if (onlyOne && delivery->failed()) {
        tell(*one, DeliveryOutcome::notReached, delivery->reason(), true);
    }
    return std::make_unique<Watched>(shared_from_this(), *one, std::move(delivery));
}

void JobRecord::finish() noexcept {
    tellRest(false);
}

void JobRecord::abandon() noexcept {
    tellRest(true);
}

JobRecord::Printer* JobRecord::printer(std::size_t position) noexcept {
    return position == 0 || position > printers_.size() ? nullptr : printers_[position - 1].get();
}

void JobRecord::begin(Printer& printer) noexcept {
    const std::lock_guard lock(mutex_);
    printer.begin = clock_();
    printer.begun = true;
}

void JobRecord::fail(Printer& printer, const DeliveryReason& reason) noexcept {
    const std::lock_guard lock(mutex_);
    if (printer.failed) return;
    printer.failed = true;
    printer.reason = reason;
}

void JobRecord::endWithoutAnswer(Printer& printer) noexcept {
    // A delivery that has not begun had no thread.
    if (!printer.begun) printer.reason = {DeliveryStep::connect, kNoMemory, 0, {}};
    tell(printer, unansweredOutcome(printer.bytes.load(std::memory_order_relaxed), printer.reason),
         printer.reason);
}

void JobRecord::tell(Printer& printer, DeliveryOutcome outcome, const DeliveryReason& reason,
                     bool startFailed) noexcept {
    try {
        {
            const std::lock_guard lock(mutex_);
            if (std::exchange(printer.told, true)) return;
        }
        DeliveryEntry entry = job_;
        entry.time = clock_();
        entry.user = printer.user;
        entry.printer = printer.url;
        entry.targets = static_cast<std::uint32_t>(printers_.size());
        entry.target = printer.number;
        entry.bytes = printer.bytes.load(std::memory_order_relaxed);
        entry.duration =
            static_cast<std::uint64_t>(std::max<std::int64_t>(entry.time - printer.begin, 0));
        entry.outcome = outcome;
        entry.reason = reason;
        write_(std::move(entry), startFailed);
    } catch (...) {
        // Memory has run out: this line is lost, the job goes on.
        return;
    }
}

void JobRecord::tellRest(bool abandoned) noexcept {
    for (const auto& one : printers_) {
        if (abandoned) {
            tell(*one, DeliveryOutcome::abandoned, {});
        } else {
            endWithoutAnswer(*one);
        }
    }
}

}  // namespace velmora
