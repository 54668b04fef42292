#pragma once

#include <windows.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "ipp/connection_options.h"
#include "ipp/message.h"
#include "ipp/reader.h"
#include "platform/handle.h"

namespace velmora {

/// A printer's URL as a connection takes it apart. Texts end with a NUL.
struct PrinterUrlParts {
    std::array<char, 128> scheme{};
    std::array<char, 128> host{};
    std::array<char, 512> path{};  ///< the query stays in it: extra information is not asked for
    std::uint16_t port = 0;        ///< 631 when the URL gives none
    bool schemeAdded = false;      ///< the URL had none; "ipp://" was put in front of it
    bool secure = false;
};

/// Empty if the platform's cracker refuses the URL. InternetCrackUrlA.
std::optional<PrinterUrlParts> crackPrinterUrl(const std::string& url);

/// A WinInet handle. In this room only connection.cpp includes WinInet's header.
void closeInternetHandle(void* handle) noexcept;
using UniqueInternet = UniqueHandle<void*, closeInternetHandle>;

/// ERROR_INTERNET_FORCE_RETRY: the same message is to be sent again.
inline constexpr std::uint32_t kSendAgain = 12032;

/// How much of an answer's body is read: a printer that never stops sending must not hold a job.
inline constexpr std::size_t kLongestAnswer = 16 << 20;

/// Carries IPP messages to one printer URL as HTTP/1.1 POST requests (RFC 2910, section 4), and
/// brings the answers back. A connection is used by one thread at a time.
///
/// Only memory that runs out is thrown: each step leaves a Win32 or WinInet error code in
/// lastError(), 0 when it succeeded.
class IppConnection {
  public:
    /// Opens the handles for `url`; a text without a scheme is taken as an ipp URL. A URL that
    /// cannot be used is noticed by the first send, which then fails.
    explicit IppConnection(const std::string& url, const ConnectionOptions& options = {});
    ~IppConnection() { close(); }
    IppConnection(const IppConnection&) = delete;
    IppConnection& operator=(const IppConnection&) = delete;

    /// Closes the request, the connection and the root handle, in this order.
    void close() noexcept;

    /// Posts the message. Chunked: it becomes the first chunk of a body that stays open for
    /// writeData(). Otherwise it is the whole body.
    void sendMessage(const IppMessage& message, bool chunked);

    /// The same with credentials, which stay set for all later sends of this connection.
    void sendMessage(const IppMessage& message, bool chunked, const std::string& userName,
                     const std::string& password);

    /// Writes one chunk of an open body; a size of 0 ends the body and the request. Writes nothing
    /// when an error has been noticed since the send, or when no body is open.
    void writeData(const void* data, std::size_t size);

    /// The same for a chunk with its frame (ChunkFrame), which is sent unchanged in one call. Never
    /// the end of the body.
    void writeFramedChunk(std::span<const std::byte> chunk);

    /// Asks the user when the last error is one that a certificate or a wrong password raises.
    /// Last error afterwards: kSendAgain, or why the message must not be sent again.
    void certificateAndPasswordDialog(HWND owner);

    /// Asks for a user name and a password and sends the message again when they were given.
    /// 1223 (ERROR_CANCELLED): the user gave none.
    void authenticationDialogAndResend(HWND owner, const IppMessage& message, bool chunked);

    /// The answer to a finished request. Null: lastError() is set when it could not be read; an
    /// HTTP status other than 200 stays in httpStatus(); else it was not a complete IPP response.
    /// Bytes after the first kLongestAnswer are left unread; the outcome depends on those.
    UniqueIppMessage readResponse(const IppReadPolicy& policy = {});

    /// Reads the answer to a finished request; true if the printer accepted the job.
    bool accepted();

    /// Reads what the last answer still holds and drops it, as far as an answer is read; for
    /// answers that are not IPP. Before the next request the platform would do it itself, however
    /// long it takes.
    void discardAnswer();

    /// Whether the last answer was left before its end. The next request then belongs on another
    /// connection: the rest of this answer would be taken for its answer, or never end.
    bool answerLeftUnread() const noexcept { return answerLeftUnread_; }

    /// Ends the open body and reads the answer; true when the printer accepted the job. False at
    /// once, with nothing sent, when an error has been noticed before or no body is open.
    bool finish();

    std::uint32_t lastError() const noexcept { return lastError_; }
    std::uint32_t httpStatus() const noexcept { return httpStatus_; }
    /// The status of the answer that accepted() read; empty if it was not an IPP response.
    std::optional<std::uint16_t> ippStatus() const noexcept { return ippStatus_; }
    /// Whether a request has ever begun on this connection.
    bool reached() const noexcept { return reached_; }
    /// Whether a body that was open has been sent to its end.
    bool bodySent() const noexcept { return bodySent_; }

  private:
    using Clock = std::chrono::steady_clock;

    bool open(const std::string& url);
    bool fail() noexcept;
    bool timedOut() noexcept;
    void setTimeOuts(void* handle) const noexcept;
    template <class Call>
    bool withinSeconds(std::uint32_t seconds, Call call);
    bool feedAnswer(IppReader* reader);
    bool waitForData(std::uint32_t& available);
    bool readPiece(std::span<std::byte> area, std::uint32_t& size);
    bool changeHeader(const char* header, std::uint32_t modifiers);
    bool setBodyHeaders(bool chunked, std::size_t bodySize);
    bool beginRequest(std::size_t totalSize);
    bool endRequest();
    bool write(const void* data, std::size_t size);
    bool bodyWaits() noexcept;
    bool writeChunk(const void* data, std::size_t size);
    bool writeInOneCall(std::string_view sizeLine, std::string_view data);
    std::uint32_t errorDialog(HWND owner, std::uint32_t error);
    bool readStatus();

    UniqueInternet root_;
    UniqueInternet connection_;
    UniqueInternet request_;
    std::uint32_t lastError_ = 0;
    std::uint32_t httpStatus_ = 200;
    bool bodyOpen_ = false;  ///< a chunked body waits for data or for its terminating chunk
    bool bodySent_ = false;
    bool reached_ = false;
    bool answerLeftUnread_ = false;
    std::optional<std::uint16_t> ippStatus_;
    ConnectionOptions options_;
    // Where prompt delivery puts a chunk together; as large as the largest one so far.
    std::unique_ptr<char[]> chunk_;
    std::size_t chunkRoom_ = 0;
    Clock::time_point answerDeadline_{};  ///< of an answer in hand, if there is a time-out for it
};

}  // namespace velmora
