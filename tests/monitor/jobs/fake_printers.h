#pragma once

#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "harness/counted_memory.h"
#include "harness/native_threading.h"
#include "monitor/jobs/job_platform.h"

#ifdef _WIN32
#include "platform/win32_threading.h"
#endif

namespace velmora::testing_support {

constexpr std::size_t kNever = std::numeric_limits<std::size_t>::max();

/// What a printer without a network does with its job, and what it got. Its job's thread alone
/// touches it while the job runs.
struct FakePrinter {
    bool refuses = false;              ///< no connection comes about
    bool throwsOnConnect = false;      ///< memory runs out there
    std::size_t failsAfter = kNever;   ///< sends that succeed before the connection breaks
    std::size_t throwsAfter = kNever;  ///< sends before memory runs out
    std::function<void()> beforeConnect = [] {};
    std::function<void()> beforeSend = [] {};

    PrintTarget target;
    std::string documentName;
    JobTemplate jobTemplate;
    std::string received;
    std::size_t sends = 0;
    std::size_t ends = 0;
    std::size_t responses = 0;
    std::size_t closed = 0;
};

class FakeConnection final : public DocumentConnection {
  public:
    explicit FakeConnection(FakePrinter& printer) : printer_(printer) {}
    ~FakeConnection() override { ++printer_.closed; }

    void send(const void* data, std::size_t length) override {
        printer_.beforeSend();
        if (printer_.sends == printer_.throwsAfter) throw std::bad_alloc();
        if (printer_.sends++ >= printer_.failsAfter) {
            error_ = true;
            return;
        }
        if (length == 0) ++printer_.ends;
        printer_.received.append(static_cast<const char*>(data), length);
    }
    bool hasError() const override { return error_; }
    void discardResponse() override { ++printer_.responses; }

  private:
    FakePrinter& printer_;
    bool error_ = false;
};

/// Real threads; events of the platform that the test runs on, since the pulses of either may be
/// lost in their own way. A target's URL is the number of its printer.
class NativeJobPlatform final : public JobPlatform {
  public:
    explicit NativeJobPlatform(std::size_t printers) : printers_(printers) {}

    std::unique_ptr<Event> makeEvent(EventReset reset) override {
#ifdef _WIN32
        return makeWin32Event(reset);
#else
        return std::make_unique<NativeEvent>(reset, reset == EventReset::Manual ? losePulses : 0);
#endif
    }
    void* allocate(std::size_t size) noexcept override {
        return memory.allocate(size);
    }
    void release(void* block) noexcept override {
        memory.release(block);
    }
    std::unique_ptr<WorkerThread> startThread(std::function<void()> body) override {
        if (threadsStarted++ == failingThread) return nullptr;
        return std::make_unique<NativeThread>(std::move(body));
    }
    std::unique_ptr<DocumentConnection> connect(const PrintTarget& target,
                                                const std::string& documentName,
                                                const JobTemplate& jobTemplate) override {
        FakePrinter& printer = printers_.at(std::stoul(target.url));
        printer.beforeConnect();
        printer.target = target;
        printer.documentName = documentName;
        printer.jobTemplate = jobTemplate;
        if (printer.throwsOnConnect) throw std::bad_alloc();
        if (printer.refuses) return nullptr;
        return std::make_unique<FakeConnection>(printer);
    }

    FakePrinter& printer(std::size_t index) {
        return printers_.at(index);
    }
    std::vector<PrintTarget> targets() const {
        std::vector<PrintTarget> targets;
        for (std::size_t i = 0; i < printers_.size(); ++i) {
            targets.push_back({std::to_string(i), 0, {}, {}});
        }
        return targets;
    }

    CountedMemory memory;
    unsigned losePulses = 0;  ///< of native events
    std::size_t threadsStarted = 0;
    std::size_t failingThread = kNever;

  private:
    std::vector<FakePrinter> printers_;
};

}  // namespace velmora::testing_support
