#include "velmoractl/delivery_files.h"

#include <array>
#include <utility>

#include "port/delivery_directory.h"
#include "port/delivery_record.h"
#include "velmoractl/text/console.h"

namespace velmora::ctl {
namespace {

// FILETIME counts tenths of microseconds since 1601.
constexpr std::int64_t kUnixEpoch = 116444736000000000;

std::int64_t millisecondsOf(const FILETIME& time) {
    const std::int64_t ticks =
        static_cast<std::int64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
    return (ticks - kUnixEpoch) / 10000;
}

FILETIME fileTimeOf(std::int64_t milliseconds) {
    const std::int64_t ticks = milliseconds * 10000 + kUnixEpoch;
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

std::int64_t converted(std::int64_t milliseconds, bool toLocal) {
    const FILETIME before = fileTimeOf(milliseconds);
    SYSTEMTIME from{};
    SYSTEMTIME to{};
    FILETIME after{};
    if (!FileTimeToSystemTime(&before, &from)) return milliseconds;
    const BOOL done = toLocal ? SystemTimeToTzSpecificLocalTime(nullptr, &from, &to)
                              : TzSpecificLocalTimeToSystemTime(nullptr, &from, &to);
    if (!done || !SystemTimeToFileTime(&to, &after)) return milliseconds;
    return millisecondsOf(after);
}

}  // namespace

DeliveryFiles::Open DeliveryFiles::open(unsigned age) const {
    const std::string path = directory_ + "\\" + deliveryFileName(age);
    Open result;
    // The monitor moves and writes the files while they are read.
    result.file.reset(CreateFileA(path.c_str(), GENERIC_READ,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!result.file) {
        const DWORD error = GetLastError();
        if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return result;
        throw systemError(
            "the record of deliveries", error,
            "check that the computer can be reached and that you may read " + toUtf8(directory_));
    }
    BY_HANDLE_FILE_INFORMATION info{};
    if (GetFileInformationByHandle(result.file.get(), &info)) {
        result.id = static_cast<std::uint64_t>(info.nFileIndexHigh) << 32 | info.nFileIndexLow;
    }
    return result;
}

void DeliveryFiles::readRest(Open& file, const Take& take) {
    std::array<char, 64 * 1024> area;
    for (;;) {
        DWORD size = 0;
        if (!ReadFile(file.file.get(), area.data(), static_cast<DWORD>(area.size()), &size,
                      nullptr)) {
            throw systemError("the record of deliveries", GetLastError(), "try again");
        }
        if (size == 0) return;
        for (const std::string& line : cutter_.feed({area.data(), size}))
            add(line, take);
    }
}

void DeliveryFiles::add(const std::string& line, const Take& take) {
    if (line.empty()) return;
    if (auto parsed = parseDeliveryLine(line)) {
        take(std::move(*parsed));
    } else {
        ++damaged_;
    }
}

std::vector<DeliveryLine> DeliveryFiles::read() {
    std::vector<DeliveryLine> lines;
    read([&lines](DeliveryLine&& line) { lines.push_back(std::move(line)); });
    return lines;
}

void DeliveryFiles::skip() {
    Open newest = open(0);
    if (!newest.file) return;
    LARGE_INTEGER nowhere{};
    if (!SetFilePointerEx(newest.file.get(), nowhere, nullptr, FILE_END))
        throw systemError("the record of deliveries", GetLastError(), "try again");
    cutter_.clear();
    current_ = std::move(newest);
    found_ = true;
}

void DeliveryFiles::read(const Take& take) {
    // From the newest to the oldest: a file that is renamed in between is read twice and never
    // missed.
    std::vector<Open> files;
    for (unsigned age = 0; age <= kOldDeliveryFiles; ++age) {
        Open one = open(age);
        if (!one.file) continue;
        bool known = false;
        for (const Open& other : files)
            known |= other.id == one.id;
        if (!known) files.push_back(std::move(one));
    }
    if (files.empty() && !current_.file) return;
    found_ = true;
    if (current_.file) readRest(current_, take);
    // The files after the one that was read last; all of them at first, or if that one is gone.
    std::size_t newer = files.size();
    for (std::size_t i = 0; i < files.size(); ++i)
        if (current_.file && files[i].id == current_.id) newer = i;
    for (std::size_t i = newer; i-- > 0;) {
        // A part of a line at the end of a file that has been rotated stays a part.
        add(std::exchange(cutter_, LineCutter()).rest(), take);
        readRest(files[i], take);
        current_ = std::move(files[i]);
    }
}

std::string deliveryDirectoryOf(const std::string& server) {
    if (server.empty()) return deliveryDirectory();
    return server + "\\admin$\\system32\\spool\\Velmora";
}

std::int64_t utcNow() {
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    return millisecondsOf(now);
}

std::int64_t localToUtc(std::int64_t local) {
    return converted(local, false);
}

std::int64_t utcToLocal(std::int64_t utc) {
    return converted(utc, true);
}

}  // namespace velmora::ctl
