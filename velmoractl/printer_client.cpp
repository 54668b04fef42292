#include "velmoractl/printer_client.h"

#include <windows.h>
// After windows.h.
#include <wininet.h>

#include <condition_variable>
#include <exception>
#include <mutex>

#include "ipp/connection.h"
#include "ipp/print_job.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/ipp_text.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/unattended.h"

namespace velmora::ctl {
namespace {

constexpr std::uint32_t kHttpOk = 200;

/// The message for an error or status.
struct CodeWords {
    std::uint32_t code;
    const char* keyword;
    const char* words;
    const char* remedy;
};

// What the codes mean for a request to a printer.
constexpr CodeWords kErrorWords[] = {
    {ERROR_INVALID_HANDLE, "bad-url", "the URL cannot be used", "write it as ipp://HOST/PATH"},
    {ERROR_INTERNET_NAME_NOT_RESOLVED, "host-unknown", "the host name is unknown",
     "check the name in the URL, and the name service"},
    {ERROR_INTERNET_CANNOT_CONNECT, "no-connection", "nothing answers at that host and port",
     "check that the printer is on, the port number in the URL, and firewalls"},
    {ERROR_INTERNET_TIMEOUT, "time-out", "the printer does not answer in time",
     "check that it is on"},
    {ERROR_INTERNET_CONNECTION_ABORTED, "connection-closed",
     "the connection was closed by the printer", "try again; check whether the port expects https"},
    {ERROR_INTERNET_CONNECTION_RESET, "connection-closed",
     "the connection was closed by the printer", "try again; check whether the port expects https"},
    {ERROR_INTERNET_SEC_CERT_DATE_INVALID, "certificate-expired",
     "its certificate has expired or is not yet valid",
     "renew the printer's certificate, and check this computer's clock"},
    {ERROR_INTERNET_SEC_CERT_CN_INVALID, "certificate-name",
     "its certificate is for another host name",
     "use the name that the certificate holds in the "
     "URL"},
    {ERROR_INTERNET_INVALID_CA, "certificate-untrusted",
     "its certificate comes from an authority that is not trusted",
     "import the authority's certificate into the computer's trusted roots"},
    {ERROR_INTERNET_SECURITY_CHANNEL_ERROR, "no-encryption", "no secure connection can be made",
     "check that the port speaks https"},
};

constexpr CodeWords kHttpWords[] = {
    {401, "authentication-required",
     "it asks for a user name and a password, or refuses those it was given",
     "set them with \"port set NAME --user USER --password-stdin\""},
    {403, "forbidden", "it forbids the request to this computer or user",
     "allow this computer in the printer's settings"},
    {404, "wrong-path", "there is no printer at the URL's path",
     "check the path; /ipp/print is a common one"},
    {426, "encryption-required", "it wants a secure connection", "use an https URL"},
    // A web server that does not accept POST, or not this kind, there.
    {405, "not-ipp", "what answers there does not speak IPP",
     "check the URL's host, port and path"},
    {415, "not-ipp", "what answers there does not speak IPP",
     "check the URL's host, port and path"},
    {501, "not-ipp", "what answers there does not speak IPP",
     "check the URL's host, port and path"},
};

constexpr std::uint32_t kIppNotFound = 0x0406;
constexpr std::uint32_t kFirstIppError = 0x0100;

PrinterProblem ippProblem(const IppMessage& message) {
    const std::uint32_t status = message.operationOrStatus & 0xFFFF;
    if (status == kIppNotFound) {
        return {"wrong-path", "there is no printer at the URL's path (" + statusText(status) + ")",
                "check the path; /ipp/print is a common one"};
    }
    const std::string words = valueOf(message, IppGroup::operation, "status-message");
    return {"printer-refuses",
            "it answers " + statusText(status) + (words.empty() ? "" : ": " + inQuotes(words)),
            "check the printer"};
}

PrinterAnswer exchange(const PrintTarget& target, const IppMessage& request,
                       const ConnectionOptions& options) {
    PrinterAnswer answer;
    IppConnection connection(target.url, options);
    if (target.useAuthentication != 0) {
        connection.sendMessage(request, false, target.userName, target.password);
    } else {
        connection.sendMessage(request, false);
    }
    if (connection.lastError() == 0) {
        IppReadPolicy policy;
        policy.keepUnknownKinds = true;
        answer.message = connection.readResponse(policy);
    }
    answer.error = connection.lastError();
    answer.httpStatus = connection.httpStatus();
    return answer;
}

}  // namespace

bool runBounded(std::function<void()> body, std::chrono::milliseconds limit) {
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        bool ended = false;
        std::exception_ptr failure;
    };
    const auto state = std::make_shared<State>();
    startUnattended([state, body = std::move(body)] {
        std::exception_ptr failure;
        try {
            body();
        } catch (...) {
            failure = std::current_exception();
        }
        const std::scoped_lock lock(state->mutex);
        state->failure = failure;
        state->ended = true;
        state->changed.notify_all();
    });
    std::unique_lock lock(state->mutex);
    if (!state->changed.wait_for(lock, limit, [&] { return state->ended; })) return false;
    if (state->failure) std::rethrow_exception(state->failure);
    return true;
}

PrinterAnswer PrinterClient::ask(const std::shared_ptr<IppMessage>& request,
                                 const ConnectionOptions& options) const {
    const auto answer = std::make_shared<PrinterAnswer>();
    if (!request) {
        answer->error = ERROR_NOT_ENOUGH_MEMORY;
        return *answer;
    }
    if (limit_ == kNoLimit) return exchange(target_, *request, options);
    // Without a policy the transport has no time limit; a printer that never answers keeps the
    // thread.
    const bool ended =
        runBounded([answer, request, options,
                    target = target_] { *answer = exchange(target, *request, options); },
                   limit_);
    if (ended) return *answer;
    PrinterAnswer late;
    late.timedOut = true;
    return late;
}

PrinterAnswer PrinterClient::askAttributes() const {
    return ask(newPrinterRequest(IppOperation::getPrinterAttributes, target_));
}

std::optional<PrinterProblem> problemOf(const PrinterAnswer& answer) {
    if (answer.timedOut) {
        return PrinterProblem{"time-out", "the printer does not answer in time",
                              "check that it is on and not busy, or give more time with --timeout"};
    }
    if (answer.error != 0) {
        for (const CodeWords& one : kErrorWords) {
            if (one.code != answer.error) continue;
            return PrinterProblem{
                one.keyword,
                std::string(one.words) + " (error " + std::to_string(answer.error) + ")",
                one.remedy};
        }
        return PrinterProblem{"no-connection", errorText(answer.error), "check the printer"};
    }
    if (answer.httpStatus == 0) {
        return PrinterProblem{"connection-closed", "the connection was closed without an answer",
                              "check the printer"};
    }
    if (answer.httpStatus != kHttpOk) {
        const std::string status = "HTTP status " + std::to_string(answer.httpStatus);
        for (const CodeWords& one : kHttpWords) {
            if (one.code != answer.httpStatus) continue;
            return PrinterProblem{one.keyword, std::string(one.words) + " (" + status + ")",
                                  one.remedy};
        }
        return PrinterProblem{"http-error", "it answers with " + status, "check the printer"};
    }
    if (!answer.message) {
        return PrinterProblem{"not-ipp", "what answers there does not speak IPP",
                              "check the URL's host, port and path"};
    }
    if ((answer.message->operationOrStatus & 0xFFFF) < kFirstIppError) return std::nullopt;
    return ippProblem(*answer.message);
}

}  // namespace velmora::ctl
