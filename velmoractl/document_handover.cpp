#include "velmoractl/document_handover.h"

#include <condition_variable>
#include <exception>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "velmoractl/text/console.h"
#include "velmoractl/unattended.h"

namespace velmora::ctl {
namespace {

constexpr std::size_t kPiece = 64 * 1024;

}  // namespace

struct DocumentHandover::State {
    ~State() {
        // Closing would end the document.
        if (step != Step::whole || failure) static_cast<void>(printer.release());
    }

    void run() noexcept {
        std::exception_ptr thrown;
        try {
            handOver();
        } catch (...) {
            thrown = std::current_exception();
            takeBack();
        }
        file.close();
        const std::lock_guard lock(mutex);
        failure = thrown;
        progress.ended = true;
        changed.notify_all();
    }

    void handOver() {
        char datatype[] = "RAW";
        DOC_INFO_1A order{title.data(), nullptr, datatype};
        const DWORD job = StartDocPrinterA(printer.get(), 1, reinterpret_cast<BYTE*>(&order));
        if (job == 0) {
            throw CommandError(ExitCode::printerProblem, what,
                               "the job cannot begin, " + errorText(GetLastError()),
                               "\"probe --port NAME\" tells what is wrong");
        }
        if (!begun(job)) return;
        write();
        if (!nextStep(Step::ending)) return;
        // Here a port that is written to directly waits for its printers to finish.
        if (!EndDocPrinter(printer.get())) {
            throw CommandError(ExitCode::printerProblem, what,
                               "the job has failed, " + errorText(GetLastError()),
                               "\"probe --port NAME\" tells what is wrong");
        }
        if (!nextStep(Step::whole) || to == To::port) return;
        if (setJob(JOB_CONTROL_RESUME)) return;
        const DWORD error = GetLastError();
        // Somebody else may have resumed it before, and it has ended.
        if (!inQueue()) return;
        throw CommandError(ExitCode::failed, what,
                           "the job stays paused in the queue, " + errorText(error),
                           "let it go on, or delete it, in the window of the queue");
    }

    bool inQueue() {
        DWORD needed = 0;
        GetJobA(printer.get(), progress.job, 1, nullptr, 0, &needed);
        return needed != 0;
    }

    /// The queue's job is paused before it has any data. False if the handover has been given up.
    bool begun(DWORD job) {
        {
            const std::lock_guard lock(mutex);
            progress.job = job;
            changed.notify_all();
            if (to == To::queue && stopped) setJob(JOB_CONTROL_DELETE);
            if (stopped) return false;
        }
        if (to == To::port || setJob(JOB_CONTROL_PAUSE)) return true;
        throw CommandError(ExitCode::failed, what,
                           "the queue does not let its job be paused, " +
                               errorText(GetLastError()) + ", and nothing of it is printed",
                           "ask for the right to manage the documents of the queue");
    }

    void write() {
        std::vector<char> piece(kPiece);
        while (file) {
            file.read(piece.data(), static_cast<std::streamsize>(piece.size()));
            const auto count = static_cast<std::size_t>(file.gcount());
            for (std::size_t sent = 0; sent < count;) {
                DWORD written = 0;
                const BOOL good = WritePrinter(printer.get(), piece.data() + sent,
                                               static_cast<DWORD>(count - sent), &written);
                const DWORD error = GetLastError();
                const std::lock_guard lock(mutex);
                if (stopped) return;
                if (!good || written == 0) {
                    throw CommandError(ExitCode::printerProblem, what,
                                       "the document was broken off after " +
                                           std::to_string(progress.bytes) + " bytes, " +
                                           errorText(error),
                                       "\"probe --port NAME\" tells what the printer says");
                }
                sent += written;
                progress.bytes += written;
                changed.notify_all();
            }
        }
        if (!file.bad()) return;
        throw CommandError(ExitCode::failed, what,
                           "the file cannot be read beyond byte " + std::to_string(progress.bytes),
                           "check the drive; nothing of it is printed");
    }

    enum class Step { writing, ending, whole };

    /// False if somebody has given up meanwhile.
    bool nextStep(Step next) {
        const std::lock_guard lock(mutex);
        if (!stopped) step = next;
        return !stopped;
    }

    bool takeBack() {
        const std::lock_guard lock(mutex);
        if (std::exchange(stopped, true)) return deleted;
        if (to == To::port) {
            deleted = step == Step::writing;
        } else {
            deleted = step != Step::whole && (progress.job == 0 || setJob(JOB_CONTROL_DELETE));
        }
        return deleted;
    }

    bool setJob(DWORD command) {
        return SetJobA(printer.get(), progress.job, 0, nullptr, command) != FALSE;
    }

    UniquePrinter printer;
    To to;
    std::string title;
    std::ifstream file;
    std::string what;

    std::mutex mutex;
    std::condition_variable changed;
    // With the mutex held.
    Progress progress;
    Step step = Step::writing;
    bool stopped = false;
    bool deleted = false;
    std::exception_ptr failure;
};

DocumentHandover::DocumentHandover(UniquePrinter printer, To to, std::string title,
                                   std::ifstream file, std::string what)
    : state_(std::make_shared<State>()) {
    state_->printer = std::move(printer);
    state_->to = to;
    state_->title = std::move(title);
    state_->file = std::move(file);
    state_->what = std::move(what);
    startUnattended([state = state_] { state->run(); });
}

DocumentHandover::~DocumentHandover() = default;

DocumentHandover::Progress DocumentHandover::wait(std::chrono::milliseconds limit) {
    std::unique_lock lock(state_->mutex);
    state_->changed.wait_for(lock, limit, [&] { return state_->progress.ended; });
    if (state_->failure) std::rethrow_exception(state_->failure);
    return state_->progress;
}

bool DocumentHandover::takeBack() {
    return state_->takeBack();
}

std::function<bool()> DocumentHandover::taker() const {
    return [state = state_] { return state->takeBack(); };
}

bool DocumentHandover::begun() const {
    const std::lock_guard lock(state_->mutex);
    return state_->progress.job != 0;
}

UniquePrinter DocumentHandover::takePrinter() {
    return std::move(state_->printer);
}

}  // namespace velmora::ctl
