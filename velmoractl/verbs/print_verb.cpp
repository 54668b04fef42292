#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "platform/handle.h"
#include "velmoractl/monitor_channel.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/progress_bar.h"
#include "velmoractl/verbs/port_checks.h"
#include "velmoractl/verbs/session.h"

// Not part of WIN32_LEAN_AND_MEAN's windows.h.
#include <winspool.h>
#undef AddPrinter

namespace velmora::ctl {
namespace {

struct PrintOptions {
    std::string file;
    std::string port;
    std::string title;
    unsigned wait = 300;
};

struct PrinterTraits {
    using Type = HANDLE;
    static Type empty() noexcept { return nullptr; }
    static void close(Type printer) noexcept { ClosePrinter(printer); }
};
using UniquePrinter = UniqueHandle<PrinterTraits>;

/// A document that has begun. One that does not come to its end is taken back: half a document must
/// not be printed as if it were a whole one.
class OpenDocument {
  public:
    explicit OpenDocument(HANDLE printer) : printer_(printer) {}
    ~OpenDocument() {
        if (printer_ != nullptr) AbortPrinter(printer_);
    }
    OpenDocument(const OpenDocument&) = delete;
    OpenDocument& operator=(const OpenDocument&) = delete;

    bool end() { return EndDocPrinter(std::exchange(printer_, nullptr)) != FALSE; }

  private:
    HANDLE printer_;
};

constexpr std::size_t kPiece = 64 * 1024;
constexpr DWORD kPollMs = 500;

std::string baseName(const std::string& path) {
    return path.substr(path.find_last_of("\\/:") + 1);
}

/// A queue that prints to the port, or the port itself when there is none: a port can be tried
/// before a printer is made for it.
UniquePrinter openPrinter(const Session& session, const std::string& port, std::string& name,
                          const std::string& what) {
    const std::vector<std::string> queues = printersOfPort(session, port);
    name = queues.empty() ? port + ", Port" : queues.front();
    UniquePrinter printer;
    std::string argument = name;
    if (!OpenPrinterA(argument.data(), printer.put(), nullptr)) {
        throw spoolerError(what, GetLastError());
    }
    return printer;
}

std::uint64_t sizeOf(std::ifstream& file) {
    file.seekg(0, std::ios::end);
    const std::streamoff size = file.tellg();
    file.seekg(0);
    return size > 0 ? static_cast<std::uint64_t>(size) : 0;
}

/// Hands the document to the spooler. The number of bytes.
std::uint64_t writeDocument(HANDLE printer, std::ifstream& file, ProgressBar& bar,
                            const std::string& what) {
    std::vector<char> piece(kPiece);
    std::uint64_t done = 0;
    while (file) {
        file.read(piece.data(), static_cast<std::streamsize>(piece.size()));
        const auto count = static_cast<std::size_t>(file.gcount());
        for (std::size_t sent = 0; sent < count;) {
            DWORD written = 0;
            const BOOL good = WritePrinter(printer, piece.data() + sent,
                                           static_cast<DWORD>(count - sent), &written);
            if (!good || written == 0) {
                throw CommandError(ExitCode::printerProblem, what,
                                   "the document was broken off after " + std::to_string(done) +
                                       " bytes, " + errorText(GetLastError()),
                                   "\"probe --port NAME\" tells what the printer says");
            }
            sent += written;
            done += written;
            bar.show(done);
        }
    }
    if (file.bad()) {
        throw CommandError(ExitCode::failed, what,
                           "the file cannot be read beyond byte " + std::to_string(done),
                           "check the drive; nothing of it is printed");
    }
    return done;
}

/// Waits until the spooler has handed the job on; it forgets finished jobs.
void waitForJob(HANDLE printer, DWORD job, unsigned seconds, const std::string& what) {
    constexpr DWORD kBad = JOB_STATUS_ERROR | JOB_STATUS_OFFLINE | JOB_STATUS_BLOCKED_DEVQ;
    for (std::uint64_t waited = 0; waited < seconds * 1000ULL; waited += kPollMs) {
        DWORD needed = 0;
        GetJobA(printer, job, 1, nullptr, 0, &needed);
        std::vector<BYTE> area(needed);
        if (needed == 0 || !GetJobA(printer, job, 1, area.data(), needed, &needed)) return;
        const DWORD state = reinterpret_cast<const JOB_INFO_1A*>(area.data())->Status;
        if (state & (JOB_STATUS_PRINTED | JOB_STATUS_DELETED | JOB_STATUS_COMPLETE)) return;
        if (state & kBad) {
            throw CommandError(ExitCode::printerProblem, what, "the spooler holds the job back",
                               "\"probe --port NAME\" tells what the printer says; the job stays "
                               "in the queue");
        }
        Sleep(kPollMs);
    }
    throw CommandError(ExitCode::printerProblem, what, "the job is still in the spooler's queue",
                       "it goes on there; --wait gives it more time");
}

void print(const Session& session, const PrintOptions& options) {
    const std::string what = "print " + quotedPath(options.file);
    if (!session.server.empty()) {
        throw CommandError(ExitCode::usage, what, "it works on this computer only",
                           "run it on " + quotedAnsi(session.server));
    }
    std::ifstream file(options.file, std::ios::binary);
    if (!file) {
        throw CommandError(ExitCode::usage, what, "the file cannot be read",
                           "check its name, and that you may read it");
    }
    MonitorChannel(session).port(options.port);
    std::string printerName;
    const UniquePrinter printer = openPrinter(session, options.port, printerName, what);
    std::string title = options.title.empty() ? baseName(options.file) : options.title;
    char datatype[] = "RAW";
    DOC_INFO_1A order{title.data(), nullptr, datatype};
    ProgressBar bar(sizeOf(file), !session.quiet && !session.wantsJson());
    const DWORD job = StartDocPrinterA(printer.get(), 1, reinterpret_cast<BYTE*>(&order));
    if (job == 0) {
        throw CommandError(ExitCode::printerProblem, what,
                           "the job cannot begin, " + errorText(GetLastError()),
                           "\"probe --port " + toUtf8(options.port) + "\" tells what is wrong");
    }
    OpenDocument document(printer.get());
    const std::uint64_t bytes = writeDocument(printer.get(), file, bar, what);
    // A port that is opened directly prints as it is written; a queue's job begins here.
    if (!document.end()) {
        throw CommandError(ExitCode::printerProblem, what,
                           "the job has failed, " + errorText(GetLastError()),
                           "\"probe --port " + toUtf8(options.port) + "\" tells what is wrong");
    }
    bar.end();
    if (options.wait > 0) waitForJob(printer.get(), job, options.wait, what);
    if (session.wantsJson()) {
        session.answer(
            {{"port", toUtf8(options.port)}, {"title", toUtf8(title)}, {"bytes", bytes}});
    }
    session.say(std::to_string(bytes) + " bytes have been handed to port " +
                quotedAnsi(options.port) + ".");
}

}  // namespace

void addPrintVerb(Verb app, Session& session) {
    const auto options = std::make_shared<PrintOptions>();
    Verb verb = addVerb(app, session, "print", "print a file in the printer's own format",
                        "print manual.pdf --port Office",
                        [&session, options] { print(session, *options); });
    verb.text("file", options->file, "the file; it is sent as it is", "FILE").required();
    verb.text("--port", options->port, "the port", "NAME").required();
    verb.text("--title", options->title, "the job's name (default: the file's)", "TEXT");
    verb.seconds("--wait", options->wait, 0, 86400,
                 "longest wait for the spooler's queue, in seconds; 0: none");
}

}  // namespace velmora::ctl
