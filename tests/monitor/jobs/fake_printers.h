#pragma once

#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <vector>

#include "harness/counted_memory.h"
#include "monitor/jobs/delivery.h"
#include "monitor/jobs/packet_queue.h"

namespace velmora::testing {

constexpr std::size_t kNever = std::numeric_limits<std::size_t>::max();

/// What a printer without a network does with its job, and what it received. Only its job's thread
/// uses it while the job runs.
struct FakePrinter {
    bool refuses = false;              ///< the connection cannot be made
    bool throwsOnConnect = false;      ///< memory runs out while connecting
    std::size_t failsAfter = kNever;   ///< sends that succeed before the connection breaks
    std::size_t throwsAfter = kNever;  ///< sends before memory runs out
    bool rejects = false;              ///< answers that it does not accept the job
    DeliveryReason connectReason;      ///< told if it refuses
    DeliveryReason sendReason;         ///< told after the connection broke
    DeliveryReason answerReason;       ///< told after the answer
    std::function<void()> beforeConnect = [] {};
    std::function<void()> beforeSend = [] {};

    DeliveryOrder order;
    std::string received;
    std::vector<std::size_t> pieces;
    std::vector<const void*> chunks;  ///< where the framed pieces were
    std::size_t sends = 0;
    std::size_t ends = 0;
    std::size_t responses = 0;
    std::size_t closed = 0;
    std::size_t leftOpen = 0;
};

class FakeDelivery final : public Delivery {
  public:
    explicit FakeDelivery(FakePrinter& printer) : printer_(printer) {
        failed_ = printer.failsAfter == 0;
    }
    ~FakeDelivery() override {
        if (!leftOpen_) ++printer_.closed;
    }

    bool failed() const override { return failed_; }
    bool write(std::span<const std::byte> piece) override {
        if (!send()) return false;
        printer_.received.append(reinterpret_cast<const char*>(piece.data()), piece.size());
        printer_.pieces.push_back(piece.size());
        return true;
    }
    bool writeChunk(std::span<const std::byte> chunk) override {
        if (!write(dataOfChunk(chunk))) return false;
        printer_.chunks.push_back(chunk.data());
        return true;
    }
    bool end() override {
        if (!send()) return false;
        ++printer_.ends;
        return true;
    }
    bool accepted() override {
        ++printer_.responses;
        answered_ = true;
        return !printer_.rejects;
    }
    void leaveOpen() noexcept override {
        leftOpen_ = true;
        ++printer_.leftOpen;
    }
    DeliveryReason reason() const override {
        return answered_ ? printer_.answerReason : failed_ ? printer_.sendReason : DeliveryReason();
    }

  private:
    bool send() {
        printer_.beforeSend();
        if (printer_.sends == printer_.throwsAfter) throw std::bad_alloc();
        if (printer_.sends++ >= printer_.failsAfter) failed_ = true;
        return !failed_;
    }

    FakePrinter& printer_;
    bool failed_ = false;
    bool answered_ = false;
    bool leftOpen_ = false;
};

/// The printers of one job, and the memory of its packets. A target's URL is the number of its
/// printer.
class FakePrinters {
  public:
    explicit FakePrinters(std::size_t printers) : printers_(printers) {}

    Connect connect() {
        return [this](const DeliveryOrder& order) -> std::unique_ptr<Delivery> {
            FakePrinter& printer = printers_.at(std::stoul(order.target.url));
            printer.beforeConnect();
            printer.order = order;
            printer.order.report = nullptr;
            if (order.report != nullptr) {
                order.report->userName = "anna";
                if (printer.refuses) order.report->reason = printer.connectReason;
            }
            if (printer.throwsOnConnect) throw std::bad_alloc();
            if (printer.refuses) return nullptr;
            return std::make_unique<FakeDelivery>(printer);
        };
    }

    PacketMemory packetMemory() {
        return {[](void* owner, std::size_t size) noexcept {
                    return static_cast<CountedMemory*>(owner)->allocate(size);
                },
                [](void* owner, void* block) noexcept {
                    static_cast<CountedMemory*>(owner)->release(block);
                },
                &memory};
    }

    FakePrinter& printer(std::size_t index) { return printers_.at(index); }
    std::vector<PrintTarget> targets() const {
        std::vector<PrintTarget> targets;
        for (std::size_t i = 0; i < printers_.size(); ++i)
            targets.push_back({std::to_string(i), 0, {}, {}});
        return targets;
    }

    CountedMemory memory;

  private:
    std::vector<FakePrinter> printers_;
};

inline std::span<const std::byte> bytesOf(const std::string& text) {
    return std::as_bytes(std::span(text));
}

}  // namespace velmora::testing
