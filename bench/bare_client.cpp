#include "bench/bare_client.h"

#include <windows.h>

#include <wininet.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <vector>

#include "ipp/connection.h"

namespace velmora::bench {
namespace {

constexpr DWORD kArea = 1024;
constexpr DWORD kNulTerminated = static_cast<DWORD>(-1);

bool write(HINTERNET request, const void* data, DWORD size) {
    DWORD written = 0;
    return InternetWriteFile(request, data, size, &written);
}

bool begin(HINTERNET request, const char* framing, DWORD total, bool prompt) {
    HttpAddRequestHeadersA(request, framing, kNulTerminated,
                           HTTP_ADDREQ_FLAG_REPLACE | HTTP_ADDREQ_FLAG_ADD);
    INTERNET_BUFFERSA buffers{};
    buffers.dwStructSize = sizeof buffers;
    buffers.dwBufferTotal = total;
    if (!HttpSendRequestExA(request, &buffers, nullptr, HSR_INITIATE | HSR_SYNC, 0)) return false;
    if (!prompt) Sleep(1000);
    return true;
}

bool answered(HINTERNET request) {
    char status[4] = {};
    DWORD size = sizeof status;
    if (!HttpEndRequestA(request, nullptr, 0, 0) ||
        !HttpQueryInfoA(request, HTTP_QUERY_STATUS_CODE, status, &size, nullptr)) {
        return false;
    }
    char area[kArea];
    for (DWORD read = 1; read != 0;) {
        if (!InternetReadFile(request, area, sizeof area, &read)) return false;
    }
    return std::strcmp(status, "200") == 0;
}

bool writeSteadyChunk(HINTERNET request, std::string_view data) {
    char line[16];
    const int length = std::snprintf(line, sizeof line, "%zx\r\n", data.size());
    return write(request, line, static_cast<DWORD>(length)) &&
           write(request, data.data(), static_cast<DWORD>(data.size())) &&
           write(request, "\r\n", 2);
}

bool writePromptChunk(HINTERNET request, std::string_view data, std::vector<char>& area) {
    area.resize(data.size() + 16);
    const int length = std::snprintf(area.data(), 16, "%zx\r\n", data.size());
    std::copy(data.begin(), data.end(), area.begin() + length);
    const std::size_t end = static_cast<std::size_t>(length) + data.size();
    area[end] = '\r';
    area[end + 1] = '\n';
    return write(request, area.data(), static_cast<DWORD>(end + 2));
}

bool writeChunks(HINTERNET request, std::string_view document, const BareManner& manner) {
    std::vector<char> area;
    while (!document.empty()) {
        const std::string_view piece = document.substr(0, manner.piece);
        document.remove_prefix(piece.size());
        if (!(manner.prompt ? writePromptChunk(request, piece, area)
                            : writeSteadyChunk(request, piece))) {
            return false;
        }
    }
    if (manner.prompt) return write(request, "0\r\n\r\n", 5);
    return write(request, "0\r\n", 3) && write(request, "\r\n", 2);
}

}  // namespace

bool printBare(int port, const std::string& document, const BareManner& manner) {
    const UniqueInternet root(
        InternetOpenA("IPP client", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0));
    const UniqueInternet connection(InternetConnectA(root.get(), "localhost",
                                                     static_cast<INTERNET_PORT>(port), nullptr,
                                                     nullptr, INTERNET_SERVICE_HTTP, 0, 0));
    const UniqueInternet request(
        HttpOpenRequestA(connection.get(), "POST", "/ipp/print", "HTTP/1.1", nullptr, nullptr,
                         INTERNET_FLAG_NO_CACHE_WRITE | INTERNET_FLAG_KEEP_CONNECTION, 0));
    const char probe[160] = {1, 0, 0, 4};
    return begin(request.get(), "Content-Length: 160\r\n", sizeof probe, manner.prompt) &&
           write(request.get(), probe, sizeof probe) && answered(request.get()) &&
           begin(request.get(), "Transfer-Encoding: chunked\r\n", 0, manner.prompt) &&
           writeChunks(request.get(), document, manner) && answered(request.get());
}

}  // namespace velmora::bench
