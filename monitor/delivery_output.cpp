#include "monitor/delivery_output.h"

#include <windows.h>

#include <chrono>
#include <new>

#include "monitor/event_log.h"
#include "platform/handle.h"
#include "platform/library.h"
#include "platform/own_identity.h"
#include "platform/system_words.h"
#include "platform/text.h"
#include "platform/threads.h"
#include "port/delivery_directory.h"

namespace velmora {
namespace {

/// The longest wait for another process that writes to the record. It holds the lock for one line
/// at a time.
constexpr int kLockAttempts = 200;
constexpr DWORD kLockStepMs = 5;

/// Held while the files are renamed or grow, by every process that prints. A file and not a named
/// mutex: only administrators could have made one in this directory before.
class RecordLock {
  public:
    explicit RecordLock(const std::string& directory) {
        const std::string path = directory + "\\deliveries.lock";
        for (int attempt = 0; attempt < kLockAttempts; ++attempt) {
            if (attempt != 0) Sleep(kLockStepMs);
            file_.reset(CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
            if (file_ || GetLastError() != ERROR_SHARING_VIOLATION) return;
        }
    }

    bool held() const noexcept { return static_cast<bool>(file_); }

  private:
    UniqueFile file_;
};

UniqueFile openForAppending(const std::string& path) {
    // Readers may move and delete it meanwhile, as the record itself does.
    return UniqueFile(CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
}

bool writeAll(HANDLE file, std::string_view bytes) {
    DWORD written = 0;
    return WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
           written == bytes.size();
}

/// Whether the file is empty or ends with a line feed: a writer that was killed may have left a
/// part of a line.
bool endsWithLine(HANDLE file, std::int64_t size) {
    if (size == 0) return true;
    LARGE_INTEGER last{};
    last.QuadPart = size - 1;
    char c = 0;
    DWORD read = 0;
    return SetFilePointerEx(file, last, nullptr, FILE_BEGIN) &&
           ReadFile(file, &c, 1, &read, nullptr) && read == 1 && c == '\n';
}

std::string filePath(const std::string& directory, unsigned age) {
    return directory + "\\" + deliveryFileName(age);
}

/// Whether the file can be renamed; a missing file counts as one that can.
bool canMove(const std::string& path) {
    const UniqueFile file(CreateFileA(path.c_str(), DELETE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    return file || GetLastError() == ERROR_FILE_NOT_FOUND;
}

/// Every file becomes the next older one; the oldest is deleted. Nothing is moved unless all can
/// be: a reader that holds one of them open must not cost the others.
bool rotate(const std::string& directory) {
    for (unsigned age = 0; age <= kOldDeliveryFiles; ++age)
        if (!canMove(filePath(directory, age))) return false;
    for (unsigned age = kOldDeliveryFiles; age > 0; --age) {
        const std::string newer = filePath(directory, age - 1);
        if (!MoveFileExA(newer.c_str(), filePath(directory, age).c_str(),
                         MOVEFILE_REPLACE_EXISTING) &&
            GetLastError() != ERROR_FILE_NOT_FOUND) {
            return false;
        }
    }
    return true;
}

bool sizeOf(HANDLE file, std::int64_t& size) {
    LARGE_INTEGER large{};
    if (!GetFileSizeEx(file, &large)) return false;
    size = large.QuadPart;
    return true;
}

/// How many of the lines have room. In an empty file the first one always has.
std::size_t fitting(std::span<const std::string> lines, std::int64_t room, bool empty) {
    std::size_t count = 0;
    for (const std::string& line : lines) {
        room -= static_cast<std::int64_t>(line.size());
        if (room < 0 && (count != 0 || !empty)) break;
        ++count;
    }
    return count;
}

/// Appends the lines to a file of `size` bytes, or leaves it as it is.
bool appendTo(HANDLE file, std::int64_t size, std::span<const std::string> lines) {
    std::string bytes;
    if (!endsWithLine(file, size)) bytes = "\n";
    for (const std::string& line : lines)
        bytes += line;
    LARGE_INTEGER end{};
    end.QuadPart = size;
    if (!SetFilePointerEx(file, end, nullptr, FILE_BEGIN)) return false;
    if (writeAll(file, bytes)) return true;
    // A full disk: half a line must not remain.
    if (SetFilePointerEx(file, end, nullptr, FILE_BEGIN)) SetEndOfFile(file);
    return false;
}

class SystemOutput final : public DeliveryOutput {
  public:
    std::size_t append(std::span<const std::string> lines, std::uint32_t recordMiB) override {
        const OwnIdentity process;
        const std::string directory = deliveryDirectory();
        const std::size_t written = appendToRecord(directory, lines, recordMiB);
        const bool missing =
            written == 0 && GetFileAttributesA(directory.c_str()) == INVALID_FILE_ATTRIBUTES;
        if (!missing || makeDeliveryDirectory() != ERROR_SUCCESS) return written;
        return appendToRecord(directory, lines, recordMiB);
    }
    void report(const DeliveryEntry& entry, std::uint32_t leftOut) override {
        reportDeliveryEvent(entry, leftOut);
    }
    std::string words(std::uint32_t error) override { return utf8FromWide(systemWords(error)); }
    std::int64_t now() override {
        using std::chrono::steady_clock, std::chrono::milliseconds;
        return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
    }
    void sleep(std::uint32_t milliseconds) override { Sleep(milliseconds); }
};

bool startThread(void (*body)(void*), void* log) noexcept {
    try {
        return Thread::startDetached([body, log] { body(log); });
    } catch (...) {
        return false;
    }
}

/// Whether the process is ending: its other threads are gone, perhaps with locks held.
bool processEnds() noexcept {
    using ShutdownInProgress = BYTE(WINAPI*)();
    const auto ends = librarySymbol<ShutdownInProgress>(GetModuleHandleA("ntdll.dll"),
                                                        "RtlDllShutdownInProgress");
    return ends != nullptr && ends() != 0;
}

/// Writes the remaining lines when the library is unloaded.
class SystemLog {
  public:
    SystemLog() : log_(output_, startThread) {}
    ~SystemLog() {
        if (!processEnds()) log_.finish();
    }
    SystemLog(const SystemLog&) = delete;
    SystemLog& operator=(const SystemLog&) = delete;

    DeliveryLog& log() noexcept { return log_; }

  private:
    SystemOutput output_;
    DeliveryLog log_;
};

DeliveryLog& systemLog() {
    static SystemLog log;
    return log.log();
}

/// The longest that the end of the monitor waits for the disk.
constexpr int kFlushSteps = 200;
constexpr DWORD kFlushStepMs = 10;

std::int64_t utcMilliseconds() {
    // FILETIME counts tenths of microseconds since 1601.
    constexpr std::int64_t kUnixEpoch = 116444736000000000;
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    const std::int64_t ticks =
        static_cast<std::int64_t>(now.dwHighDateTime) << 32 | now.dwLowDateTime;
    return (ticks - kUnixEpoch) / 10000;
}

}  // namespace

std::size_t appendToRecord(const std::string& directory, std::span<const std::string> lines,
                           std::uint32_t recordMiB) {
    const std::int64_t quarter = std::int64_t{recordMiB} * 1024 * 1024 / (kOldDeliveryFiles + 1);
    const RecordLock lock(directory);
    std::size_t written = 0;
    while (lock.held() && written < lines.size()) {
        UniqueFile file = openForAppending(filePath(directory, 0));
        std::int64_t size = 0;
        if (!file || !sizeOf(file.get(), size)) break;
        const std::size_t count = fitting(lines.subspan(written), quarter - size, size == 0);
        if (count == 0) {
            file.reset();
            if (!rotate(directory)) break;
        } else if (appendTo(file.get(), size, lines.subspan(written, count))) {
            written += count;
        } else {
            break;
        }
    }
    return written;
}

std::shared_ptr<JobRecord> newJobRecord(const Policy& policy, const std::string& port,
                                        std::uint32_t job, const std::wstring& document,
                                        const std::vector<PrintTarget>& targets) noexcept {
    const DeliveryLogSettings settings{policy.deliveryRecord, policy.eventLog};
    if (!settings.on()) return nullptr;
    try {
        DeliveryEntry common;
        common.port = utf8FromWide(toWide(port));
        common.job = job;
        common.document = utf8FromWide(document);
        systemLog();  // made while a failure can still be handled; later uses need no memory for it
        const auto write = [settings](DeliveryEntry entry, bool startFailed) {
            systemLog().add(std::move(entry), startFailed, settings);
        };
        auto record = std::make_shared<JobRecord>(std::move(common), write, utcMilliseconds);
        std::vector<std::string> urls;
        urls.reserve(targets.size());
        for (const PrintTarget& target : targets)
            urls.push_back(utf8FromWide(toWide(target.url)));
        record->setPrinters(urls);
        return record;
    } catch (...) {
        return nullptr;
    }
}

void flushDeliveryLog() noexcept {
    try {
        DeliveryLog& log = systemLog();
        log.flush();
        for (int step = 0; step < kFlushSteps && log.running(); ++step)
            Sleep(kFlushStepMs);
    } catch (...) {
        return;  // no memory for a log: none was made, and there is nothing to report
    }
}

}  // namespace velmora
