#include <windows.h>

#include <wininet.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "bench/report.h"
#include "harness/peer.h"
#include "harness/printing.h"
#include "ipp/print_job.h"

// A document through the connection in the spooler's pieces. Beside it a bare loop of the same
// platform calls to the same server: what any monitor on this platform pays. Beside that CUPS's ipp
// backend, what the user of another system would have.

namespace velmora::bench {
namespace {

using testing::Peer;

constexpr std::size_t kPiece = 1024;
constexpr std::size_t kSegment = 1 << 20;  ///< bytes of one turn
constexpr int kTurns = 48;

struct Cost {
    double wall = 0;
    double cpu = 0;

    Cost& operator+=(const Cost& other) {
        wall += other.wall;
        cpu += other.cpu;
        return *this;
    }
};

/// Seconds of processor time of this process, in the kernel too.
double cpuSeconds() {
    FILETIME created, ended, kernel, user;
    GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user);
    const auto seconds = [](const FILETIME& time) {
        return (time.dwHighDateTime * 4294967296.0 + time.dwLowDateTime) / 1e7;
    };
    return seconds(kernel) + seconds(user);
}

template <class Body>
Cost costOf(Body&& body) {
    Cost cost;
    const double cpu = cpuSeconds();
    cost.wall = seconds(body);
    cost.cpu = cpuSeconds() - cpu;
    return cost;
}

PrintTarget targetOf(const std::string& url) {
    PrintTarget target;
    target.url = url;
    return target;
}

[[noreturn]] void stop(const char* what) {
    std::fprintf(stderr, "transport_bench: %s\n", what);
    std::exit(1);
}

/// A job of ours whose document is under way.
class OurJob {
  public:
    explicit OurJob(const std::string& url) : connection_(testing::startJob(targetOf(url))) {
        if (!connection_ || connection_->lastError() != 0) stop("the job does not start");
    }
    void write(const std::string& data) {
        for (std::size_t at = 0; at < data.size(); at += kPiece)
            connection_->writeData(data.data() + at, kPiece);
    }
    void finish() {
        if (!connection_->finish()) stop("the job fails");
    }

  private:
    std::unique_ptr<IppConnection> connection_;
};

/// The same calls by hand. The body is the document alone; the server looks at neither.
class BareJob {
  public:
    explicit BareJob(const std::string& url)
        : root_(InternetOpenA("IPP client", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0)),
          connection_(InternetConnectA(
              root_, "localhost",
              static_cast<INTERNET_PORT>(std::atoi(url.c_str() + url.rfind(':') + 1)), nullptr,
              nullptr, INTERNET_SERVICE_HTTP, 0, 0)),
          request_(HttpOpenRequestA(connection_, "POST", "/ipp/print", "HTTP/1.1", nullptr, nullptr,
                                    INTERNET_FLAG_NO_CACHE_WRITE | INTERNET_FLAG_KEEP_CONNECTION,
                                    0)) {
        HttpAddRequestHeadersA(request_, "Transfer-Encoding: chunked\r\n", static_cast<DWORD>(-1),
                               HTTP_ADDREQ_FLAG_ADD);
        INTERNET_BUFFERSA buffers{};
        buffers.dwStructSize = sizeof buffers;
        if (!HttpSendRequestExA(request_, &buffers, nullptr, HSR_INITIATE | HSR_SYNC, 0))
            stop("the bare request does not start");
    }
    ~BareJob() {
        InternetCloseHandle(request_);
        InternetCloseHandle(connection_);
        InternetCloseHandle(root_);
    }
    BareJob(const BareJob&) = delete;
    BareJob& operator=(const BareJob&) = delete;

    void write(const std::string& data) {
        DWORD count = 0;
        for (std::size_t at = 0; at < data.size(); at += kPiece) {
            InternetWriteFile(request_, "400\r\n", 5, &count);
            InternetWriteFile(request_, data.data() + at, kPiece, &count);
            InternetWriteFile(request_, "\r\n", 2, &count);
        }
    }
    void finish() {
        DWORD count = 0;
        InternetWriteFile(request_, "0\r\n", 3, &count);
        InternetWriteFile(request_, "\r\n", 2, &count);
        HttpEndRequestA(request_, nullptr, 0, 0);
        char area[1024];
        while (InternetReadFile(request_, area, sizeof area, &count) && count != 0) {
        }
    }

  private:
    HINTERNET root_;
    HINTERNET connection_;
    HINTERNET request_;
};

Cost sendByCups(Peer& sink) {
    const std::string shown = sink.run("python3 {here}/../../bench/cups_backend.py {url} " +
                                       std::to_string(kTurns * kSegment >> 20));
    Cost cost;
    if (std::sscanf(shown.c_str(), "%lf %lf", &cost.wall, &cost.cpu) != 2)
        stop("CUPS's backend does not run");
    return cost;
}

/// Seconds from the start of a job of 10 KiB to the answer to its last byte.
double wholeJob(const std::string& url) {
    const std::string document(10 * 1024, 'x');
    return seconds([&] {
        const auto connection = testing::startJob(targetOf(url));
        if (!connection) stop("the small job does not start");
        for (std::size_t at = 0; at < document.size(); at += kPiece)
            connection->writeData(document.data() + at, kPiece);
        if (!connection->finish()) stop("the small job fails");
    });
}

void run(Report& report) {
    Peer sink("http_sink --discard");
    const std::string segment(kSegment, 'x');
    Cost ours, bare;
    {
        // Both documents are under way at once and take turns, so that whatever else the machine
        // does affects both alike.
        OurJob ourJob(sink.url());
        BareJob bareJob(sink.url());
        for (int turn = 0; turn < kTurns; ++turn) {
            ours += costOf([&] { ourJob.write(segment); });
            bare += costOf([&] { bareJob.write(segment); });
        }
        ours += costOf([&] { ourJob.finish(); });
        bare += costOf([&] { bareJob.finish(); });
    }
    const Cost cups = sendByCups(sink);
    double small = 1e9;
    for (int job = 0; job < 3; ++job)
        small = std::min(small, wholeJob(sink.url()));

    constexpr double kPerMebibyte = 1000.0 / (kTurns * kSegment >> 20);
    report.add({"document, CPU per MiB, beside the bare calls", "ms", ours.cpu * kPerMebibyte,
                bare.cpu * kPerMebibyte, 1.02});
    report.add({"document, time per MiB, beside the bare calls", "ms", ours.wall * kPerMebibyte,
                bare.wall * kPerMebibyte, 0});
    report.add({"document, CPU per MiB, beside CUPS's ipp backend", "ms", ours.cpu * kPerMebibyte,
                cups.cpu * kPerMebibyte, 0});
    report.add({"document, time per MiB, beside CUPS's ipp backend", "ms", ours.wall * kPerMebibyte,
                cups.wall * kPerMebibyte, 0});
    report.add({"10 KiB job over its two pauses, beside 50 ms", "ms", (small - 2.0) * 1000, 50, 1});
}

}  // namespace
}  // namespace velmora::bench

int main(int argc, char** argv) {
    velmora::bench::Report report(argc, argv);
    velmora::bench::run(report);
}
