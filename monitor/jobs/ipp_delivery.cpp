#include "monitor/jobs/ipp_delivery.h"

#include <utility>

#include "ipp/connection.h"
#include "ipp/print_job.h"

namespace velmora {
namespace {

class IppDelivery final : public Delivery {
  public:
    explicit IppDelivery(std::unique_ptr<IppConnection> connection) noexcept
        : connection_(std::move(connection)) {}

    bool failed() const override { return connection_->lastError() != 0; }
    bool write(std::span<const std::byte> piece) override {
        connection_->writeData(piece.data(), piece.size());
        return !failed();
    }
    bool end() override {
        connection_->writeData(nullptr, 0);
        return !failed();
    }
    bool accepted() override { return connection_->accepted(); }
    void leaveOpen() noexcept override { static_cast<void>(connection_.release()); }

  private:
    std::unique_ptr<IppConnection> connection_;
};

}  // namespace

std::unique_ptr<Delivery> connectToPrinter(const DeliveryOrder& order,
                                           const ConnectionOptions& options) {
    auto connection = SendPrintJob(order.target, order.documentName, order.jobTemplate, options);
    if (connection == nullptr) return nullptr;
    return std::make_unique<IppDelivery>(std::move(connection));
}

}  // namespace velmora
