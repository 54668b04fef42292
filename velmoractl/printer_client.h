#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "ipp/connection_options.h"
#include "ipp/message.h"
#include "platform/printer_address.h"

namespace velmora::ctl {

/// The outcome of one request to a printer.
struct PrinterAnswer {
    bool timedOut = false;
    std::uint32_t error = 0;       ///< Win32 or WinInet
    std::uint32_t httpStatus = 0;  ///< 0: no answer
    std::shared_ptr<IppMessage> message;
};

/// Sends requests by the monitor's own transport, without its dialogs, and reads the answers
/// leniently: attributes that printing does not need are shown too. Each request, also to a printer
/// that never answers, ends after `limit`; without a limit when the connection's own time-outs end
/// it.
class PrinterClient {
  public:
    static constexpr std::chrono::milliseconds kNoLimit{0};

    PrinterClient(PrintTarget target, std::chrono::milliseconds limit,
                  const ConnectionOptions& options = {})
        : target_(std::move(target)), limit_(limit), options_(options) {}

    const PrintTarget& target() const { return target_; }
    PrinterAnswer ask(const std::shared_ptr<IppMessage>& request) const {
        return ask(request, options_);
    }
    PrinterAnswer ask(const std::shared_ptr<IppMessage>& request,
                      const ConnectionOptions& options) const;
    /// Get-Printer-Attributes.
    PrinterAnswer askAttributes() const;

  private:
    PrintTarget target_;
    std::chrono::milliseconds limit_;
    ConnectionOptions options_;
};

/// Why a printer cannot be used, with what to do about it. UTF-8, safe to show.
struct PrinterProblem {
    std::string keyword;  ///< such as "certificate-untrusted"; docs/json.md lists all
    std::string words;
    std::string remedy;
};

/// Empty if there is an IPP answer with a success status.
std::optional<PrinterProblem> problemOf(const PrinterAnswer& answer);

/// Runs `body` in a thread of its own and waits for it; false when it has not ended in time. It is
/// then left running, so it must own everything it uses. Its exceptions are rethrown here.
bool runBounded(std::function<void()> body, std::chrono::milliseconds limit);

}  // namespace velmora::ctl
