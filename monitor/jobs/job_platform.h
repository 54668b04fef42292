#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "ipp/job_template.h"
#include "ipp/print_target.h"
#include "monitor/jobs/packet_queue.h"
#include "platform/worker_thread.h"

namespace velmora {

/// A print job on its way to one printer: the request has been sent, its document is still open.
/// Destruction closes the connection. Errors stay: after the first one hasError() remains true.
class DocumentConnection {
  public:
    virtual ~DocumentConnection() = default;

    /// Sends the next piece of the document; length 0 ends the document and its request.
    virtual void send(const void* data, std::size_t length) = 0;
    virtual bool hasError() const = 0;
    /// Waits for the printer's answer and drops it.
    virtual void discardResponse() = 0;
};

/// What a job for several printers takes from its surroundings. Used from the job's thread and from
/// its workers' threads at once.
class JobPlatform : public QueuePlatform {
  public:
    /// Runs `body`, which does not throw, in a thread of its own; null when there is none to be
    /// had.
    virtual std::unique_ptr<WorkerThread> startThread(std::function<void()> body) = 0;
    /// Starts the delivery to one printer (takes seconds); null when it does not come about.
    virtual std::unique_ptr<DocumentConnection> connect(const PrintTarget& target,
                                                        const std::string& documentName,
                                                        const JobTemplate& jobTemplate) = 0;
};

}  // namespace velmora
