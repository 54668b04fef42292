#include "harness/wininet/instant_printers.h"

#include <array>
#include <atomic>
#include <cstring>
#include <stdexcept>
#include <string>

namespace velmora::testing {
namespace {

std::atomic<int> openedHandles{0};
std::atomic<int> endedRequests{0};

/// InternetReadFile gives a request's answer once, and then the end.
struct Request {
    bool answered = false;
};

/// Used in turn: a job leaves its request open, and more than these are never under way at once.
std::array<Request, 1024> requestObjects;
std::atomic<unsigned> nextRequest{0};
char otherObject;

constexpr char kAnswer[] = "\1\0\0\0\0\0\0\1\3";

HINTERNET open(void* object) {
    ++openedHandles;
    return object;
}

HINTERNET WINAPI internetOpen(LPCSTR, DWORD, LPCSTR, LPCSTR, DWORD) {
    return open(&otherObject);
}

HINTERNET WINAPI internetConnect(HINTERNET, LPCSTR, INTERNET_PORT, LPCSTR, LPCSTR, DWORD, DWORD,
                                 DWORD_PTR) {
    return open(&otherObject);
}

HINTERNET WINAPI httpOpenRequest(HINTERNET, LPCSTR, LPCSTR, LPCSTR, LPCSTR, LPCSTR*, DWORD,
                                 DWORD_PTR) {
    return open(&requestObjects[nextRequest++ % requestObjects.size()]);
}

BOOL WINAPI httpAddRequestHeaders(HINTERNET, LPCSTR, DWORD, DWORD) {
    return TRUE;
}

BOOL WINAPI httpSendRequestEx(HINTERNET request, LPINTERNET_BUFFERSA, LPINTERNET_BUFFERSA, DWORD,
                              DWORD_PTR) {
    static_cast<Request*>(request)->answered = false;
    return TRUE;
}

BOOL WINAPI internetWriteFile(HINTERNET, LPCVOID, DWORD size, LPDWORD written) {
    *written = size;
    return TRUE;
}

BOOL WINAPI httpEndRequest(HINTERNET, LPINTERNET_BUFFERSA, DWORD, DWORD_PTR) {
    ++endedRequests;
    return TRUE;
}

BOOL WINAPI httpQueryInfo(HINTERNET, DWORD, LPVOID area, LPDWORD size, LPDWORD) {
    std::memcpy(area, "200", 4);
    *size = 3;
    return TRUE;
}

BOOL WINAPI internetReadFile(HINTERNET file, LPVOID area, DWORD, LPDWORD read) {
    auto* const request = static_cast<Request*>(file);
    *read = request->answered ? 0 : sizeof kAnswer - 1;
    std::memcpy(area, kAnswer, *read);
    request->answered = true;
    return TRUE;
}

BOOL WINAPI internetQueryDataAvailable(HINTERNET file, LPDWORD available, DWORD, DWORD_PTR) {
    *available = static_cast<Request*>(file)->answered ? 0 : sizeof kAnswer - 1;
    return TRUE;
}

BOOL WINAPI internetSetOption(HINTERNET, DWORD, LPVOID, DWORD) {
    return TRUE;
}

DWORD WINAPI internetErrorDlg(HWND, HINTERNET, DWORD, DWORD, LPVOID*) {
    return ERROR_CANCELLED;
}

BOOL WINAPI internetCloseHandle(HINTERNET) {
    --openedHandles;
    return TRUE;
}

std::string standInPath() {
    char program[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, program, MAX_PATH);
    return std::string(program, std::string_view(program).rfind('\\') + 1) +
           "wininet_stand_in\\wininet.dll";
}

}  // namespace

InstantPrinters::InstantPrinters() {
    // Loaded by its path: modules that import wininet.dll afterwards get this one. Never freed.
    if (LoadLibraryA(standInPath().c_str()) == nullptr)
        throw std::runtime_error("the stand-in for wininet.dll does not load");
    openedHandles = 0;
    endedRequests = 0;
    platform_ = winInetFunctions();
    winInetFunctions() = {internetOpen,
                          platform_.internetCrackUrl,
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
                          internetCloseHandle};
}

InstantPrinters::~InstantPrinters() {
    winInetFunctions() = platform_;
}

int InstantPrinters::openHandles() noexcept {
    return openedHandles;
}

int InstantPrinters::requests() noexcept {
    return endedRequests;
}

}  // namespace velmora::testing
