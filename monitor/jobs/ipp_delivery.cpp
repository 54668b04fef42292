#include "monitor/jobs/ipp_delivery.h"

#include <utility>

#include "ipp/connection.h"
#include "ipp/print_job.h"

namespace velmora {
namespace {

constexpr std::uint32_t kHttpOk = 200;

class IppDelivery final : public Delivery {
  public:
    explicit IppDelivery(std::unique_ptr<IppConnection> connection) noexcept
        : connection_(std::move(connection)) {}

    bool failed() const override { return connection_->lastError() != 0; }
    bool write(std::span<const std::byte> piece) override {
        connection_->writeData(piece.data(), piece.size());
        return !failed();
    }
    bool writeChunk(std::span<const std::byte> chunk) override {
        connection_->writeFramedChunk(chunk);
        return !failed();
    }
    bool end() override {
        connection_->writeData(nullptr, 0);
        return !failed();
    }
    bool accepted() override {
        answered_ = true;
        return connection_->accepted();
    }
    void leaveOpen() noexcept override { static_cast<void>(connection_.release()); }

    DeliveryReason reason() const override {
        DeliveryReason reason;
        reason.error = connection_->lastError();
        reason.ippStatus = connection_->ippStatus();
        if (reason.ippStatus && isSuccess(*reason.ippStatus)) return {{}, 0, 0, reason.ippStatus};
        const std::uint32_t status = answered_ ? connection_->httpStatus() : 0;
        if (status != kHttpOk) reason.httpStatus = status;
        reason.step =
            connection_->bodySent() || reason.ippStatus ? DeliveryStep::answer : DeliveryStep::send;
        return reason;
    }

  private:
    std::unique_ptr<IppConnection> connection_;
    bool answered_ = false;
};

DeliveryStep stepOf(JobStep step) noexcept {
    switch (step) {
        case JobStep::probe:
            return DeliveryStep::probe;
        case JobStep::authenticate:
            return DeliveryStep::authenticate;
        case JobStep::send:
            return DeliveryStep::send;
        default:
            return DeliveryStep::connect;
    }
}

}  // namespace

std::unique_ptr<Delivery> connectToPrinter(const DeliveryOrder& order,
                                           const JobTemplate& jobTemplate,
                                           const ConnectionOptions& options) {
    JobStart start;
    auto connection = SendPrintJob(order.target, order.documentName, jobTemplate, options,
                                   order.report != nullptr ? &start : nullptr);
    if (order.report != nullptr) {
        order.report->userName = std::move(start.userName);
        order.report->reason = {stepOf(start.step), start.error, start.httpStatus, {}};
    }
    if (connection == nullptr) return nullptr;
    return std::make_unique<IppDelivery>(std::move(connection));
}

}  // namespace velmora
