#include "ipp/print_job.h"

#include <windows.h>

#include <array>
#include <optional>
#include <vector>

#include "ipp/job_template.h"
#include "ipp/page_ranges.h"
#include "ipp/utf8.h"

namespace velmora {
namespace {

constexpr IppVersion kVersion{1, 0};
constexpr std::uint32_t kRequestId = 1;
constexpr std::uint32_t kHttpOk = 200;
constexpr std::uint32_t kHttpUnauthorized = 401;

/// Adds single-valued attributes to one group of a message, and remembers whether all of them
/// could be made.
class GroupBuilder {
  public:
    GroupBuilder(IppMessage& message, IppGroup group) : message_(message), group_(group) {}

    bool ok() const noexcept { return ok_; }

    void add(UniqueIppAttribute attribute) {
        if (!addIppAttribute(message_, group_, 0, std::move(attribute))) ok_ = false;
    }
    void integer(std::string_view name, std::uint32_t value) {
        add(newIntegerAttribute(index(name), static_cast<std::int32_t>(value),
                                &message_.storage()));
    }
    void boolean(std::string_view name, bool value) {
        add(newBooleanAttribute(index(name), value, &message_.storage()));
    }
    void enumeration(std::string_view name, std::uint32_t value) {
        add(newEnumAttribute(index(name), static_cast<std::int32_t>(value), &message_.storage()));
    }
    void keyword(std::string_view name, const std::string& value) {
        add(newKeywordAttribute(index(name), value.c_str(), &message_.storage()));
    }
    void uri(std::string_view name, const std::string& value) {
        add(newUriAttribute(index(name), value.c_str(), &message_.storage()));
    }
    void name(std::string_view name, const std::string& utf8) {
        add(newNameAttribute(index(name), utf8.c_str(), &message_.storage()));
    }
    void resolution(std::string_view name, const JobTemplate::Resolution& value) {
        add(newResolutionAttribute(index(name),
                                   IppResolution{value.crossFeed, value.feed, value.units},
                                   &message_.storage()));
    }
    void ranges(std::string_view name, std::span<const IppRange> values) {
        add(newRangeAttribute(index(name), values, &message_.storage()));
    }

    static int index(std::string_view name) { return IppAttributeNames::indexOf(name); }

  private:
    IppMessage& message_;
    IppGroup group_;
    bool ok_ = true;
};

/// The name of the calling thread's user, in UTF-8; empty if the platform does not report it.
std::string requestingUserName() {
    std::array<char, 1024> name{};
    DWORD size = static_cast<DWORD>(name.size());
    GetUserNameA(name.data(), &size);
    name.back() = '\0';
    return ansiToUtf8(name.data());
}

/// The attributes that every request begins with. What the request is about follows charset and
/// natural language at once (RFC 8011, 4.1.5).
UniqueIppMessage printerRequest(IppOperation operationId, const PrintTarget& target,
                                const std::string& userName,
                                const std::optional<std::uint32_t>& job = std::nullopt) {
    UniqueIppMessage message = newIppRequest(kVersion, operationId, kRequestId);
    if (!message) return nullptr;
    GroupBuilder operation(*message, IppGroup::operation);
    operation.uri("printer-uri", target.url);
    if (job) operation.integer("job-id", *job);
    operation.name("requesting-user-name", userName);
    return operation.ok() ? std::move(message) : nullptr;
}

void addPageRanges(GroupBuilder& job, const std::string& text) {
    std::optional<PageRanges> pages = PageRanges::parse(text);
    // Without a valid text the whole document is printed: the attribute is left out.
    if (!pages) return;
    pages->normalise();
    std::vector<IppRange> values;
    values.reserve(pages->ranges().size());
    for (const PageRanges::Range& range : pages->ranges()) {
        values.push_back(
            {static_cast<std::int32_t>(range.lower), static_cast<std::int32_t>(range.upper)});
    }
    job.ranges("page-ranges", values);
}

/// Every attribute is sent whatever its value: the printer's own defaults must not apply.
void addJobAttributes(GroupBuilder& job, const JobTemplate& values) {
    job.integer("job-priority", values.jobPriority);
    job.keyword("job-hold-until", values.jobHoldUntil);
    job.keyword("job-sheets", values.jobSheets);
    job.keyword("multiple-document-handling", values.multipleDocumentHandling);
    job.integer("copies", values.copies);
    job.enumeration("finishings", values.finishings);
    job.keyword("sides", values.sides);
    job.integer("number-up", values.numberUp);
    job.enumeration("orientation-requested", values.orientationRequested);
    job.keyword("media", values.media);
    job.resolution("printer-resolution", values.printerResolution);
    job.enumeration("print-quality", values.printQuality);
    addPageRanges(job, values.pageRanges);
}

/// Sends the probe until that succeeds, asking the user about certificates if needed. False: given
/// up.
bool sendProbe(IppConnection& connection, const PrintTarget& target, const IppMessage& probe) {
    do {
        if (target.useAuthentication != 0) {
            connection.sendMessage(probe, false, target.userName, target.password);
        } else {
            connection.sendMessage(probe, false);
        }
        connection.certificateAndPasswordDialog(GetDesktopWindow());
    } while (connection.lastError() == kSendAgain);
    return connection.lastError() == 0;
}

/// Only the status matters; the rest is read so that the connection can be used again.
void readProbeAnswer(IppConnection& connection) {
    if (!connection.readResponse() && connection.httpStatus() != kHttpOk)
        connection.discardAnswer();
}

/// Reads the probe's answer and asks for a password as long as the printer wants one. Any other
/// answer, an unreadable one included, lets the job go on. False: given up.
bool settleAuthentication(IppConnection& connection, const IppMessage& probe) {
    readProbeAnswer(connection);
    while (connection.httpStatus() == kHttpUnauthorized) {
        // The platform asks on the same connection, where an answer that never ends is in the way.
        if (connection.answerLeftUnread()) return false;
        do {
            connection.authenticationDialogAndResend(GetDesktopWindow(), probe, false);
        } while (connection.lastError() == kSendAgain);
        if (connection.lastError() != 0) return false;
        readProbeAnswer(connection);
    }
    return true;
}

bool probePrinter(IppConnection& connection, const PrintTarget& target, const std::string& userName,
                  JobStart& start) {
    const UniqueIppMessage probe =
        printerRequest(IppOperation::getPrinterAttributes, target, userName);
    if (!probe) {
        start.error = ERROR_NOT_ENOUGH_MEMORY;
        return false;
    }
    const bool sent = sendProbe(connection, target, *probe);
    if (sent && settleAuthentication(connection, *probe)) return true;
    start.step = sent                   ? JobStep::authenticate
                 : connection.reached() ? JobStep::probe
                                        : JobStep::connect;
    start.error = connection.lastError();
    // Asking for the password has overwritten the status that led to it.
    if (sent) start.httpStatus = kHttpUnauthorized;
    return false;
}

UniqueIppMessage jobRequest(IppOperation operationId, const PrintTarget& target,
                            const std::string& documentName, const JobTemplate& jobTemplate,
                            const std::string& userName) {
    UniqueIppMessage message = printerRequest(operationId, target, userName);
    if (!message) return nullptr;
    GroupBuilder operation(*message, IppGroup::operation);
    const std::string name = ansiToUtf8(documentName);
    operation.name("job-name", name);
    operation.name("document-name", name);
    operation.boolean("ipp-attribute-fidelity", jobTemplate.ippAttributeFidelity != 0);
    GroupBuilder job(*message, IppGroup::job);
    addJobAttributes(job, jobTemplate);
    return operation.ok() && job.ok() ? std::move(message) : nullptr;
}

}  // namespace

UniqueIppMessage newPrinterRequest(IppOperation operationId, const PrintTarget& target) {
    return printerRequest(operationId, target, requestingUserName());
}

UniqueIppMessage newRequestAboutJob(IppOperation operationId, const PrintTarget& target,
                                    std::uint32_t job) {
    return printerRequest(operationId, target, requestingUserName(), job);
}

UniqueIppMessage newJobRequest(IppOperation operationId, const PrintTarget& target,
                               const std::string& documentName, const JobTemplate& jobTemplate) {
    return jobRequest(operationId, target, documentName, jobTemplate, requestingUserName());
}

std::unique_ptr<IppConnection> SendPrintJob(const PrintTarget& target,
                                            const std::string& documentName,
                                            const JobTemplate& jobTemplate,
                                            const ConnectionOptions& options,
                                            JobStart* startReport) {
    JobStart unreported;
    JobStart& start = startReport != nullptr ? *startReport : unreported;
    const std::string userName = requestingUserName();
    if (startReport != nullptr) start.userName = userName;
    auto connection = std::make_unique<IppConnection>(target.url, options);
    if (!probePrinter(*connection, target, userName, start)) return nullptr;
    start.step = JobStep::send;
    const UniqueIppMessage message =
        jobRequest(IppOperation::printJob, target, documentName, jobTemplate, userName);
    if (!message) {
        start.error = ERROR_NOT_ENOUGH_MEMORY;
        return nullptr;
    }
    const bool anew = connection->answerLeftUnread();
    if (anew) connection = std::make_unique<IppConnection>(target.url, options);
    do {
        if (anew && target.useAuthentication != 0) {
            connection->sendMessage(*message, true, target.userName, target.password);
        } else {
            connection->sendMessage(*message, true);
        }
    } while (connection->lastError() == kSendAgain);
    return connection;
}

}  // namespace velmora
