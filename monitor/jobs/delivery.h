#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "ipp/chunk.h"
#include "platform/printer_address.h"
#include "port/delivery_record.h"

namespace velmora {

/// How connecting to a printer went.
struct ConnectReport {
    DeliveryReason reason;  ///< why there is no connection
    std::string userName;  ///< as sent in requesting-user-name, in UTF-8; empty if nothing was sent
};

/// How a job hands its document on.
enum class Pace {
    steady,  ///< in pieces of 1024 bytes; workers begin at a pulse
    prompt,  ///< in pieces of 64 KiB; workers begin with what is there
};

/// The delivery to one printer; the Connect knows how to send it. Texts are in the ANSI code page.
struct DeliveryOrder {
    PrintTarget target;
    std::string documentName;
    std::size_t position = 0;         ///< among the job's printers, from 1
    ConnectReport* report = nullptr;  ///< filled while connecting; may be null
};

/// A document on its way to one printer: the request has been sent, its body is still open. Used by
/// one thread at a time. Destruction closes the connection. Errors stay: after the first one
/// nothing more is sent.
class Delivery {
  public:
    virtual ~Delivery() = default;

    virtual bool failed() const = 0;
    /// Sends the next piece of the document, which is not empty; true while there is no error.
    virtual bool write(std::span<const std::byte> piece) = 0;
    /// The same for a piece that is framed as a chunk already (ChunkFrame), so that a document for
    /// many printers is framed once.
    virtual bool writeChunk(std::span<const std::byte> chunk) { return write(dataOfChunk(chunk)); }
    /// Ends the document and its request, once; true while there is no error.
    virtual bool end() = 0;
    /// After the end: waits for the printer's answer; true if it accepted the job.
    virtual bool accepted() = 0;
    /// Gives the connection up without closing it; the object is only destroyed afterwards.
    virtual void leaveOpen() noexcept = 0;
    /// The first error, or what the printer answered.
    virtual DeliveryReason reason() const { return {}; }
};

/// Starts the delivery to one printer, which takes seconds; null if the connection could not be
/// made. Called from several threads at once. The only way from a job to the network.
using Connect = std::function<std::unique_ptr<Delivery>(const DeliveryOrder& order)>;

/// A document on its way to the printers of one job.
class PrintJob {
  public:
    virtual ~PrintJob() = default;

    /// Whether the job cannot proceed. Asked once, right after creation.
    virtual bool failed() const { return false; }
    /// Hands on the next piece of the document, which is not empty; false if it was not taken.
    virtual bool write(std::span<const std::byte> piece) = 0;
    /// Ends the document, once; false if the printer is known not to have accepted it.
    virtual bool end() = 0;
};

}  // namespace velmora
