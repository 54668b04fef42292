#include "harness/wininet/fake_wininet.h"

#include <algorithm>
#include <cstring>
#include <sstream>
#include <string_view>

namespace velmora::testing {
namespace {

FakeWinInet* fake = nullptr;

char rootObject, connectionObject, requestObject;

std::string handleName(const void* handle) {
    if (handle == &rootObject) return "root";
    if (handle == &connectionObject) return "connection";
    if (handle == &requestObject) return "request";
    return handle == nullptr ? "null" : "?";
}

std::string quoted(std::string_view value) {
    std::string text = "\"";
    for (const char c : value) {
        if (c == '\r') {
            text += "\\r";
        } else if (c == '\n') {
            text += "\\n";
        } else if (c == '\0') {
            text += "\\0";
        } else {
            text += c;
        }
    }
    return text + "\"";
}

std::string text(const char* value) {
    return value == nullptr ? "null" : quoted(value);
}

std::string hex(DWORD value) {
    std::ostringstream out;
    out << "0x" << std::hex << value;
    return out.str();
}

std::string pointer(const void* value) {
    return value == nullptr ? "null" : "given";
}

template <class... Parts>
void record(const char* function, const Parts&... parts) {
    std::ostringstream line;
    line << function << "(";
    const char* separator = "";
    ((line << separator << parts, separator = ", "), ...);
    line << ")";
    fake->calls.push_back(line.str());
}

}  // namespace

struct FakeWinInet::Calls {
    static HINTERNET open(const char* function, void* object) {
        if (!fake->allowed(function)) return nullptr;
        ++fake->openHandles_;
        return object;
    }

    static HINTERNET WINAPI internetOpen(LPCSTR agent, DWORD access, LPCSTR proxy, LPCSTR bypass,
                                         DWORD flags) {
        record("InternetOpenA", text(agent), access, text(proxy), text(bypass), hex(flags));
        return open("InternetOpenA", &rootObject);
    }
    static BOOL WINAPI internetCrackUrl(LPCSTR url, DWORD length, DWORD flags,
                                        LPURL_COMPONENTSA parts) {
        record("InternetCrackUrlA", text(url), length, hex(flags), parts->dwSchemeLength,
               parts->dwHostNameLength, parts->dwUserNameLength, parts->dwPasswordLength,
               parts->dwUrlPathLength, parts->dwExtraInfoLength);
        if (!fake->allowed("InternetCrackUrlA")) return FALSE;
        return fake->platform_.internetCrackUrl(url, length, flags, parts);
    }
    static HINTERNET WINAPI internetConnect(HINTERNET root, LPCSTR server, INTERNET_PORT port,
                                            LPCSTR user, LPCSTR password, DWORD service,
                                            DWORD flags, DWORD_PTR context) {
        record("InternetConnectA", handleName(root), text(server), port, text(user), text(password),
               service, hex(flags), context);
        return open("InternetConnectA", &connectionObject);
    }
    static HINTERNET WINAPI httpOpenRequest(HINTERNET connection, LPCSTR verb, LPCSTR object,
                                            LPCSTR version, LPCSTR referrer, LPCSTR* types,
                                            DWORD flags, DWORD_PTR context) {
        record("HttpOpenRequestA", handleName(connection), text(verb), text(object), text(version),
               text(referrer), pointer(types), hex(flags), context);
        return open("HttpOpenRequestA", &requestObject);
    }
    static BOOL WINAPI httpAddRequestHeaders(HINTERNET request, LPCSTR headers, DWORD length,
                                             DWORD modifiers) {
        const std::string given(headers,
                                length == static_cast<DWORD>(-1) ? std::strlen(headers) : length);
        record("HttpAddRequestHeadersA", handleName(request), text(given.c_str()), hex(modifiers));
        return fake->allowed("HttpAddRequestHeadersA");
    }
    static BOOL WINAPI httpSendRequestEx(HINTERNET request, LPINTERNET_BUFFERSA in,
                                         LPINTERNET_BUFFERSA out, DWORD flags, DWORD_PTR context) {
        INTERNET_BUFFERSA expected{};
        expected.dwStructSize = sizeof expected;
        expected.dwBufferTotal = in->dwBufferTotal;
        const bool plain = std::memcmp(in, &expected, sizeof expected) == 0;
        record("HttpSendRequestExA", handleName(request),
               (plain ? "total " : "unexpected fields, total ") + std::to_string(in->dwBufferTotal),
               pointer(out), hex(flags), context);
        fake->firstWriteOfRequest_ = fake->writes.size();
        return fake->allowed("HttpSendRequestExA");
    }
    static BOOL WINAPI internetWriteFile(HINTERNET file, LPCVOID data, DWORD size,
                                         LPDWORD written) {
        record("InternetWriteFile", handleName(file), size);
        *written = 0;
        if (!fake->allowed("InternetWriteFile")) return FALSE;
        fake->writes.emplace_back(static_cast<const char*>(data), size);
        *written = size;
        return TRUE;
    }
    static BOOL WINAPI httpEndRequest(HINTERNET request, LPINTERNET_BUFFERSA out, DWORD flags,
                                      DWORD_PTR context) {
        record("HttpEndRequestA", handleName(request), pointer(out), hex(flags), context);
        return fake->allowed("HttpEndRequestA");
    }
    static BOOL WINAPI httpQueryInfo(HINTERNET request, DWORD level, LPVOID area, LPDWORD size,
                                     LPDWORD index) {
        record("HttpQueryInfoA", handleName(request), level, *size, pointer(index));
        if (!fake->allowed("HttpQueryInfoA")) return FALSE;
        fake->answer_ = fake->answers.front();
        if (fake->answers.size() > 1) fake->answers.pop_front();
        fake->readPosition_ = 0;
        const std::string& status = fake->answer_.status;
        if (*size < status.size() + 1) {
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return FALSE;
        }
        std::memcpy(area, status.c_str(), status.size() + 1);
        *size = static_cast<DWORD>(status.size());
        return TRUE;
    }
    static BOOL WINAPI internetReadFile(HINTERNET file, LPVOID area, DWORD size, LPDWORD read) {
        record("InternetReadFile", handleName(file), size);
        *read = 0;
        if (!fake->allowed("InternetReadFile")) return FALSE;
        const std::string& body = fake->answer_.body;
        const std::size_t count = std::min({static_cast<std::size_t>(size), fake->answer_.pieceSize,
                                            body.size() - fake->readPosition_});
        std::memcpy(area, body.data() + fake->readPosition_, count);
        fake->readPosition_ += count;
        *read = static_cast<DWORD>(count);
        return TRUE;
    }
    static BOOL WINAPI internetQueryDataAvailable(HINTERNET file, LPDWORD available, DWORD flags,
                                                  DWORD_PTR context) {
        record("InternetQueryDataAvailable", handleName(file), hex(flags), context);
        *available = 0;
        if (!fake->allowed("InternetQueryDataAvailable")) return FALSE;
        *available = static_cast<DWORD>(
            std::min(fake->answer_.pieceSize, fake->answer_.body.size() - fake->readPosition_));
        return TRUE;
    }
    static BOOL WINAPI internetSetOption(HINTERNET handle, DWORD option, LPVOID area, DWORD size) {
        const bool isText =
            option == INTERNET_OPTION_USERNAME || option == INTERNET_OPTION_PASSWORD;
        record("InternetSetOptionA", handleName(handle), option,
               isText ? quoted({static_cast<char*>(area), size})
                      : std::to_string(*static_cast<DWORD*>(area)));
        return fake->allowed("InternetSetOptionA");
    }
    static DWORD WINAPI internetErrorDlg(HWND owner, HINTERNET request, DWORD error, DWORD flags,
                                         LPVOID* data) {
        record("InternetErrorDlg", owner == GetDesktopWindow() ? "desktop" : "other",
               handleName(request), error, hex(flags), pointer(data));
        if (fake->dialogResults.empty()) return ERROR_SUCCESS;
        const DWORD result = fake->dialogResults.front();
        fake->dialogResults.pop_front();
        return result;
    }
    static BOOL WINAPI internetCloseHandle(HINTERNET handle) {
        record("InternetCloseHandle", handleName(handle));
        --fake->openHandles_;
        return TRUE;
    }
    static void WINAPI sleep(DWORD milliseconds) { record("Sleep", milliseconds); }

    static constexpr WinInetFunctions kFunctions = {
        internetOpen,
        internetCrackUrl,
        internetConnect,
        httpOpenRequest,
        httpAddRequestHeaders,
        httpSendRequestEx,
        internetWriteFile,
        httpEndRequest,
        httpQueryInfo,
        internetReadFile,
        internetQueryDataAvailable,
        internetSetOption,
        internetErrorDlg,
        internetCloseHandle,
    };
};

FakeWinInet::FakeWinInet()
    : platform_(winInetFunctions()),
      sleep_("KERNEL32.dll", "Sleep", reinterpret_cast<void (*)()>(&Calls::sleep)) {
    fake = this;
    winInetFunctions() = Calls::kFunctions;
}

FakeWinInet::~FakeWinInet() {
    winInetFunctions() = platform_;
    fake = nullptr;
}

std::size_t FakeWinInet::count(const std::string& function) const {
    return static_cast<std::size_t>(std::ranges::count_if(
        calls, [&](const std::string& call) { return call.starts_with(function + "("); }));
}

std::string FakeWinInet::body() const {
    std::string all;
    for (std::size_t index = firstWriteOfRequest_; index < writes.size(); ++index) {
        all += writes[index];
    }
    return all;
}

bool FakeWinInet::allowed(const std::string& function) {
    std::deque<DWORD>& errors = failures_[function];
    if (errors.empty()) return true;
    const DWORD error = errors.front();
    errors.pop_front();
    SetLastError(error);
    return error == 0;
}

}  // namespace velmora::testing
