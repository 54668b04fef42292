#include "ipp/connection.h"

#include <wininet.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "ipp/chunk.h"
#include "ipp/encoder.h"
#include "platform/alarm.h"
#include "platform/digits.h"

namespace velmora {
namespace {

static_assert(kSendAgain == ERROR_INTERNET_FORCE_RETRY);

constexpr DWORD kIppPort = 631;  // RFC 3510, for URLs that yield none
constexpr DWORD kHttpOk = 200;

/// The platform starts sending the header block inside HttpSendRequestEx; printers that
/// authenticate or negotiate on the block alone get this long before the body reaches them.
constexpr DWORD kPauseBeforeBodyMs = 1000;

/// Timers of the platform may end a wait up to one tick early.
constexpr std::chrono::milliseconds kTimerTick{20};

constexpr DWORD kDialogFlags = FLAGS_ERROR_UI_FILTER_FOR_ERRORS |
                               FLAGS_ERROR_UI_FLAGS_CHANGE_OPTIONS |
                               FLAGS_ERROR_UI_FLAGS_GENERATE_DATA;

constexpr std::array<DWORD, 4> kAskableErrors = {
    ERROR_INTERNET_SEC_CERT_DATE_INVALID,
    ERROR_INTERNET_SEC_CERT_CN_INVALID,
    ERROR_INTERNET_INCORRECT_PASSWORD,
    ERROR_INTERNET_INVALID_CA,
};

std::optional<PrinterUrlParts> crack(const std::string& url) {
    PrinterUrlParts parts;
    URL_COMPONENTSA components{};
    components.dwStructSize = sizeof components;
    components.lpszScheme = parts.scheme.data();
    components.dwSchemeLength = static_cast<DWORD>(parts.scheme.size());
    components.lpszHostName = parts.host.data();
    components.dwHostNameLength = static_cast<DWORD>(parts.host.size());
    components.lpszUrlPath = parts.path.data();
    components.dwUrlPathLength = static_cast<DWORD>(parts.path.size());
    if (!InternetCrackUrlA(url.c_str(), 0, 0, &components)) return std::nullopt;
    parts.port = components.nPort != 0 ? components.nPort : kIppPort;
    return parts;
}

/// The message's bytes in one piece; empty when memory runs out or it cannot be encoded.
std::vector<std::uint8_t> encode(const IppMessage& message) {
    try {
        std::vector<std::uint8_t> body(encodedIppSize(message, false));
        encodeIppMessage(message, false, body);
        return body;
    } catch (const std::bad_alloc&) {
        return {};
    }
}

}  // namespace

std::optional<PrinterUrlParts> crackPrinterUrl(const std::string& url) {
    std::optional<PrinterUrlParts> parts = crack(url);
    if (!parts && GetLastError() == ERROR_INTERNET_UNRECOGNIZED_SCHEME) {
        parts = crack("ipp://" + url);
        if (parts) parts->schemeAdded = true;
    }
    // Only the scheme as it is usually spelled: the cracker keeps the user's capitals, and ports
    // configured with them have always been sent in the clear.
    if (parts) parts->secure = std::strcmp(parts->scheme.data(), "https") == 0;
    return parts;
}

void closeInternetHandle(void* handle) noexcept {
    InternetCloseHandle(handle);
}

IppConnection::IppConnection(const std::string& url, const ConnectionOptions& options)
    : options_(options) {
    open(url);
}

bool IppConnection::open(const std::string& url) {
    const std::optional<PrinterUrlParts> parts = crackPrinterUrl(url);
    if (!parts) return false;

    root_.reset(InternetOpenA("IPP client", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0));
    if (!root_) return fail();
    setTimeOuts(root_.get());

    connection_.reset(InternetConnectA(root_.get(), parts->host.data(), parts->port, nullptr,
                                       nullptr, INTERNET_SERVICE_HTTP, 0, 0));
    if (!connection_) return fail();
    setTimeOuts(connection_.get());

    DWORD flags = INTERNET_FLAG_NO_CACHE_WRITE | INTERNET_FLAG_KEEP_CONNECTION;
    if (parts->secure) flags |= INTERNET_FLAG_SECURE;
    if (!options_.followRedirects) flags |= INTERNET_FLAG_NO_AUTO_REDIRECT;
    request_.reset(HttpOpenRequestA(connection_.get(), "POST", parts->path.data(), "HTTP/1.1",
                                    nullptr, nullptr, flags, 0));
    if (!request_) return fail();

    return changeHeader("Content-type: application/ipp\r\n", HTTP_ADDREQ_FLAG_ADD);
}

void IppConnection::close() noexcept {
    request_.reset();
    connection_.reset();
    root_.reset();
}

void IppConnection::sendMessage(const IppMessage& message, bool chunked) {
    httpStatus_ = 0;
    lastError_ = 0;
    bodyOpen_ = false;
    answerLeftUnread_ = false;
    if (!request_) {
        // A connection without handles must not report success.
        lastError_ = ERROR_INVALID_HANDLE;
        return;
    }
    const std::vector<std::uint8_t> body = encode(message);
    if (body.empty()) {
        lastError_ = ERROR_INVALID_DATA;
        return;
    }
    // Set again for every request: reading an answer shortens them.
    setTimeOuts(request_.get());
    if (!setBodyHeaders(chunked, body.size())) return;
    if (!beginRequest(chunked ? 0 : body.size())) return;
    if (!options_.promptDelivery) Sleep(kPauseBeforeBodyMs);
    if (chunked) {
        bodyOpen_ = writeChunk(body.data(), body.size());
    } else if (write(body.data(), body.size())) {
        endRequest();
    }
}

void IppConnection::sendMessage(const IppMessage& message, bool chunked,
                                const std::string& userName, const std::string& password) {
    // Refused credentials show in the answer's status, so the results are ignored.
    std::string user = userName;
    std::string secret = password;
    InternetSetOptionA(connection_.get(), INTERNET_OPTION_USERNAME, user.data(),
                       static_cast<DWORD>(user.size()));
    InternetSetOptionA(connection_.get(), INTERNET_OPTION_PASSWORD, secret.data(),
                       static_cast<DWORD>(secret.size()));
    sendMessage(message, chunked);
}

void IppConnection::writeFramedChunk(std::span<const std::byte> chunk) {
    if (bodyWaits()) write(chunk.data(), chunk.size());
}

void IppConnection::writeData(const void* data, std::size_t size) {
    if (!bodyWaits()) return;
    const bool sent = writeChunk(data, size);
    if (size == 0) {
        bodyOpen_ = false;
        bodySent_ = sent;
        const std::uint32_t error = lastError_;
        // Not tested: only the answer says whether the request was served. Only one that took too
        // long is not waited for any more.
        const bool bounded = options_.receiveTimeout != 0;
        if (!endRequest() && !(bounded && lastError_ == ERROR_INTERNET_TIMEOUT)) lastError_ = error;
    }
}

void IppConnection::certificateAndPasswordDialog(HWND owner) {
    if (std::ranges::find(kAskableErrors, lastError_) == kAskableErrors.end()) return;
    const DWORD result = errorDialog(owner, lastError_);
    lastError_ = result == ERROR_SUCCESS ? kSendAgain : result;
}

void IppConnection::authenticationDialogAndResend(HWND owner, const IppMessage& message,
                                                  bool chunked) {
    lastError_ = 0;
    httpStatus_ = 0;
    const DWORD result = errorDialog(owner, ERROR_INTERNET_INCORRECT_PASSWORD);
    if (result == kSendAgain) {
        sendMessage(message, chunked);
    } else {
        // Any other result prevents the job from continuing without credentials.
        lastError_ = result == ERROR_SUCCESS ? ERROR_CANCELLED : result;
    }
}

UniqueIppMessage IppConnection::readResponse(const IppReadPolicy& policy) {
    if (!request_ || !readStatus() || httpStatus_ != kHttpOk) return nullptr;
    UniqueIppMessage response = newIppMessage();
    if (!response) return nullptr;
    IppReader reader(*response, IppReadMode::response, policy);
    if (!feedAnswer(&reader)) {
        if (lastError_ != ERROR_INTERNET_TIMEOUT || !reader.complete()) return nullptr;
        // The printer has sent everything that was asked for.
        lastError_ = 0;
    }
    return reader.complete() ? std::move(response) : nullptr;
}

void IppConnection::discardAnswer() {
    if (request_) feedAnswer(nullptr);
}

/// Reads the body into the reader, if there is one. False when it could not be read or is
/// malformed.
bool IppConnection::feedAnswer(IppReader* reader) {
    answerLeftUnread_ = true;
    std::array<std::byte, 1024> area;
    for (std::size_t left = kLongestAnswer; left > 0;) {
        std::uint32_t size = 0;
        if (!readPiece(std::span(area).first(std::min(area.size(), left)), size)) return false;
        if (size == 0) {
            answerLeftUnread_ = false;
            break;
        }
        // The rest of a body whose attributes have ended, or do not fit in memory, is still read:
        // bytes left in the connection would be taken for the next answer.
        if (reader != nullptr && reader->feed(area.data(), size) == -1) return false;
        left -= size;
    }
    return true;
}

bool IppConnection::finish() {
    if (lastError_ != 0 || !bodyOpen_) return false;
    writeData(nullptr, 0);
    return accepted();
}

bool IppConnection::accepted() {
    const UniqueIppMessage response = readResponse();
    if (response) ippStatus_ = static_cast<std::uint16_t>(response->operationOrStatus);
    // successful-ok, -ignored-or-substituted-attributes, -conflicting-attributes (RFC 2911, 13.1.2)
    return response && (response->operationOrStatus & 0xFFFF) <= 2;
}

bool IppConnection::fail() noexcept {
    const DWORD error = GetLastError();
    lastError_ = error != 0 ? error : ERROR_INTERNET_INTERNAL_ERROR;
    return false;
}

bool IppConnection::timedOut() noexcept {
    lastError_ = ERROR_INTERNET_TIMEOUT;
    return false;
}

/// Sets time-outs in seconds, except those that are 0. If one is refused, the platform's own stays.
void IppConnection::setTimeOuts(void* handle) const noexcept {
    const std::pair<DWORD, std::uint32_t> timeOuts[] = {
        {INTERNET_OPTION_CONNECT_TIMEOUT, options_.connectTimeout},
        {INTERNET_OPTION_SEND_TIMEOUT, options_.sendTimeout},
        {INTERNET_OPTION_RECEIVE_TIMEOUT, options_.receiveTimeout},
    };
    for (const auto& [option, seconds] : timeOuts) {
        DWORD milliseconds = seconds * 1000;
        if (seconds != 0) InternetSetOptionA(handle, option, &milliseconds, sizeof milliseconds);
    }
}

/// Makes a call that waits for the printer and has no time-out of its own: closing the request
/// from another thread ends it (InternetCloseHandle). A call that took that long has timed out
/// whatever it says: nothing else reports a receive time-out in the headers.
template <class Call>
bool IppConnection::withinSeconds(std::uint32_t seconds, Call call) {
    if (seconds == 0) return call() || fail();
    const auto limit = std::chrono::seconds(seconds);
    const auto begin = Clock::now();
    Alarm alarm(seconds * 1000, [request = request_.get()] { InternetCloseHandle(request); });
    const bool done = call() || fail();
    const auto taken = Clock::now() - begin;
    const bool closed = alarm.stop();
    if (closed) static_cast<void>(request_.release());
    if (closed || taken + kTimerTick >= limit) return timedOut();
    return done;
}

/// How much of the answer can be read without waiting; 0 at its end. InternetQueryDataAvailable.
bool IppConnection::waitForData(std::uint32_t& available) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(answerDeadline_ - Clock::now());
    if (left.count() <= 0) return timedOut();
    DWORD milliseconds = static_cast<DWORD>(left.count());
    InternetSetOptionA(request_.get(), INTERNET_OPTION_RECEIVE_TIMEOUT, &milliseconds,
                       sizeof milliseconds);
    DWORD size = 0;
    const bool done = InternetQueryDataAvailable(request_.get(), &size, 0, 0) || fail();
    available = size;
    if ((!done || size == 0) && Clock::now() + kTimerTick >= answerDeadline_) return timedOut();
    return done;
}

/// Up to an area of the answer's body; size 0 at its end. With a time-out only the available bytes
/// are read: a call that waits for a full buffer would restart its time-out with each byte.
bool IppConnection::readPiece(std::span<std::byte> area, std::uint32_t& size) {
    std::uint32_t wanted = static_cast<std::uint32_t>(area.size());
    if (options_.receiveTimeout != 0) {
        std::uint32_t available = 0;
        if (!waitForData(available)) return false;
        if (available == 0) return true;
        wanted = std::min(wanted, available);
    }
    DWORD read = 0;
    if (!InternetReadFile(request_.get(), area.data(), wanted, &read)) return fail();
    size = read;
    return true;
}

bool IppConnection::changeHeader(const char* header, std::uint32_t modifiers) {
    if (HttpAddRequestHeadersA(request_.get(), header, static_cast<DWORD>(-1), modifiers)) {
        return true;
    }
    // There was nothing to replace or to remove, which is what the request needs.
    if ((modifiers & HTTP_ADDREQ_FLAG_REPLACE) && GetLastError() == ERROR_HTTP_HEADER_NOT_FOUND) {
        return true;
    }
    return fail();
}

bool IppConnection::setBodyHeaders(bool chunked, std::size_t bodySize) {
    if (chunked) {
        return changeHeader("Transfer-Encoding: chunked\r\n",
                            HTTP_ADDREQ_FLAG_REPLACE | HTTP_ADDREQ_FLAG_ADD) &&
               changeHeader("Content-Length:\r\n", HTTP_ADDREQ_FLAG_REPLACE);
    }
    // An earlier chunked send may have left its header on the request.
    if (!changeHeader("Transfer-Encoding:\r\n", HTTP_ADDREQ_FLAG_REPLACE)) return false;
    std::string header = "Content-Length: ";
    appendDigits(header, bodySize);
    return changeHeader((header += "\r\n").c_str(), HTTP_ADDREQ_FLAG_REPLACE);
}

bool IppConnection::beginRequest(std::size_t totalSize) {
    INTERNET_BUFFERSA buffers{};
    buffers.dwStructSize = sizeof buffers;
    buffers.dwBufferTotal = static_cast<DWORD>(totalSize);
    const bool begun = withinSeconds(options_.connectTimeout, [&] {
        return HttpSendRequestExA(request_.get(), &buffers, nullptr, HSR_INITIATE | HSR_SYNC, 0);
    });
    if (begun) reached_ = true;
    return begun;
}

bool IppConnection::endRequest() {
    answerDeadline_ = Clock::now() + std::chrono::seconds(options_.receiveTimeout);
    return withinSeconds(options_.receiveTimeout,
                         [&] { return HttpEndRequestA(request_.get(), nullptr, 0, 0); });
}

bool IppConnection::write(const void* data, std::size_t size) {
    const DWORD whole = static_cast<DWORD>(size);
    DWORD written = whole;
    if (!InternetWriteFile(request_.get(), data, whole, &written)) return fail();
    if (written == whole) return true;
    // A synchronous write takes everything; if it ever takes less, a piece of the document is lost.
    lastError_ = ERROR_WRITE_FAULT;
    return false;
}

bool IppConnection::bodyWaits() noexcept {
    if (lastError_ == 0 && !bodyOpen_) lastError_ = ERROR_INTERNET_INCORRECT_HANDLE_STATE;
    return lastError_ == 0;
}

bool IppConnection::writeChunk(const void* data, std::size_t size) {
    const ChunkFrame frame(size);
    const std::string_view line = frame.sizeLine();
    if (options_.promptDelivery) {
        return writeInOneCall(line, {static_cast<const char*>(data), size});
    }
    return write(line.data(), line.size()) && (size == 0 || write(data, size)) &&
           write(ChunkFrame::kEnd.data(), ChunkFrame::kEnd.size());
}

bool IppConnection::writeInOneCall(std::string_view sizeLine, std::string_view data) {
    const std::size_t whole = sizeLine.size() + data.size() + ChunkFrame::kEnd.size();
    if (whole > chunkRoom_) {
        chunkRoom_ = 0;
        chunk_.reset(new (std::nothrow) char[whole]);
        if (!chunk_) {
            lastError_ = ERROR_NOT_ENOUGH_MEMORY;
            return false;
        }
        chunkRoom_ = whole;
    }
    char* place = chunk_.get();
    for (const std::string_view part : {sizeLine, data, ChunkFrame::kEnd})
        place = std::copy(part.begin(), part.end(), place);
    return write(chunk_.get(), whole);
}

std::uint32_t IppConnection::errorDialog(HWND owner, std::uint32_t error) {
    return InternetErrorDlg(owner, request_.get(), error, kDialogFlags, nullptr);
}

bool IppConnection::readStatus() {
    char text[4];  // three digits: a longer status is not valid in HTTP
    DWORD size = sizeof text;
    if (!HttpQueryInfoA(request_.get(), HTTP_QUERY_STATUS_CODE, text, &size, nullptr)) {
        return fail();
    }
    httpStatus_ = 0;
    std::from_chars(text, text + sizeof text, httpStatus_);
    return true;
}

}  // namespace velmora
