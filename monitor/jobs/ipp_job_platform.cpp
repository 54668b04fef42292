#include "monitor/jobs/ipp_job_platform.h"

#include <new>
#include <utility>

#include "ipp/connection.h"
#include "ipp/print_job.h"
#include "platform/win32_threading.h"

namespace velmora {
namespace {

class IppDocumentConnection final : public DocumentConnection {
  public:
    explicit IppDocumentConnection(std::unique_ptr<IppConnection> connection) noexcept
        : connection_(std::move(connection)) {}

    void send(const void* data, std::size_t length) override {
        connection_->writeData(data, length);
    }
    bool hasError() const override { return connection_->lastError() != 0; }
    void discardResponse() override { connection_->readResponse(); }

  private:
    std::unique_ptr<IppConnection> connection_;
};

class IppJobPlatform final : public JobPlatform {
  public:
    std::unique_ptr<Event> makeEvent(EventReset reset) override { return makeWin32Event(reset); }
    void* allocate(std::size_t size) noexcept override {
        return ::operator new(size, std::nothrow);
    }
    void release(void* memory) noexcept override { ::operator delete(memory); }
    std::unique_ptr<WorkerThread> startThread(std::function<void()> body) override {
        return startWin32Thread(std::move(body));
    }
    std::unique_ptr<DocumentConnection> connect(const PrintTarget& target,
                                                const std::string& documentName,
                                                const JobTemplate& jobTemplate) override {
        auto connection = SendPrintJob(target, documentName, jobTemplate);
        if (connection == nullptr) return nullptr;
        return std::make_unique<IppDocumentConnection>(std::move(connection));
    }
};

}  // namespace

JobPlatform& ippJobPlatform() {
    static IppJobPlatform platform;
    return platform;
}

}  // namespace velmora
