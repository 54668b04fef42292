#include "bench/bare_client.h"

#include <windows.h>

#include <wininet.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "ipp/connection.h"

namespace velmora::bench {
namespace {

constexpr DWORD kPiece = 1024;
constexpr DWORD kNulTerminated = static_cast<DWORD>(-1);

bool write(HINTERNET request, const void* data, DWORD size) {
    DWORD written = 0;
    return InternetWriteFile(request, data, size, &written);
}

bool begin(HINTERNET request, const char* framing, DWORD total) {
    HttpAddRequestHeadersA(request, framing, kNulTerminated,
                           HTTP_ADDREQ_FLAG_REPLACE | HTTP_ADDREQ_FLAG_ADD);
    INTERNET_BUFFERSA buffers{};
    buffers.dwStructSize = sizeof buffers;
    buffers.dwBufferTotal = total;
    if (!HttpSendRequestExA(request, &buffers, nullptr, HSR_INITIATE | HSR_SYNC, 0)) return false;
    Sleep(1000);
    return true;
}

bool answered(HINTERNET request) {
    char status[4] = {};
    DWORD size = sizeof status;
    if (!HttpEndRequestA(request, nullptr, 0, 0) ||
        !HttpQueryInfoA(request, HTTP_QUERY_STATUS_CODE, status, &size, nullptr)) {
        return false;
    }
    char area[kPiece];
    for (DWORD read = 1; read != 0;) {
        if (!InternetReadFile(request, area, sizeof area, &read)) return false;
    }
    return std::strcmp(status, "200") == 0;
}

bool writeChunks(HINTERNET request, const std::string& document) {
    for (std::size_t at = 0; at < document.size(); at += kPiece) {
        const auto size = static_cast<DWORD>(std::min<std::size_t>(kPiece, document.size() - at));
        char line[16];
        const int length = std::snprintf(line, sizeof line, "%lx\r\n", size);
        if (!write(request, line, static_cast<DWORD>(length)) ||
            !write(request, document.data() + at, size) || !write(request, "\r\n", 2)) {
            return false;
        }
    }
    return write(request, "0\r\n", 3) && write(request, "\r\n", 2);
}

}  // namespace

bool printBare(int port, const std::string& document) {
    const UniqueInternet root(
        InternetOpenA("IPP client", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0));
    const UniqueInternet connection(InternetConnectA(root.get(), "localhost",
                                                     static_cast<INTERNET_PORT>(port), nullptr,
                                                     nullptr, INTERNET_SERVICE_HTTP, 0, 0));
    const UniqueInternet request(
        HttpOpenRequestA(connection.get(), "POST", "/ipp/print", "HTTP/1.1", nullptr, nullptr,
                         INTERNET_FLAG_NO_CACHE_WRITE | INTERNET_FLAG_KEEP_CONNECTION, 0));
    const char probe[160] = {1, 0, 0, 4};
    return begin(request.get(), "Content-Length: 160\r\n", sizeof probe) &&
           write(request.get(), probe, sizeof probe) && answered(request.get()) &&
           begin(request.get(), "Transfer-Encoding: chunked\r\n", 0) &&
           writeChunks(request.get(), document) && answered(request.get());
}

}  // namespace velmora::bench
