// Stands in for wininet.dll in the processes of tests: every call goes through a table that the
// test can change, and that leads to the platform's own library as long as it does not.

#include <windows.h>

// The functions are defined here, not imported.
#undef DECLSPEC_IMPORT
#define DECLSPEC_IMPORT

#include "harness/wininet/wininet_functions.h"
#include "platform/library.h"

namespace velmora::testing {
namespace {

template <class Function>
void resolve(Function& entry, HMODULE library, const char* name) {
    entry = librarySymbol<Function>(library, name);
}

WinInetFunctions platformFunctions() {
    // By its full path: the bare name would lead back here.
    char path[MAX_PATH];
    GetSystemDirectoryA(path, MAX_PATH - 16);
    lstrcatA(path, "\\wininet.dll");
    const HMODULE library = LoadLibraryA(path);
    WinInetFunctions functions{};
    resolve(functions.internetOpen, library, "InternetOpenA");
    resolve(functions.internetCrackUrl, library, "InternetCrackUrlA");
    resolve(functions.internetConnect, library, "InternetConnectA");
    resolve(functions.httpOpenRequest, library, "HttpOpenRequestA");
    resolve(functions.httpAddRequestHeaders, library, "HttpAddRequestHeadersA");
    resolve(functions.httpSendRequestEx, library, "HttpSendRequestExA");
    resolve(functions.internetWriteFile, library, "InternetWriteFile");
    resolve(functions.httpEndRequest, library, "HttpEndRequestA");
    resolve(functions.httpQueryInfo, library, "HttpQueryInfoA");
    resolve(functions.internetReadFile, library, "InternetReadFile");
    resolve(functions.internetQueryDataAvailable, library, "InternetQueryDataAvailable");
    resolve(functions.internetSetOption, library, "InternetSetOptionA");
    resolve(functions.internetErrorDlg, library, "InternetErrorDlg");
    resolve(functions.internetCloseHandle, library, "InternetCloseHandle");
    return functions;
}

WinInetFunctions& table() {
    static WinInetFunctions functions = platformFunctions();
    return functions;
}

}  // namespace
}  // namespace velmora::testing

using velmora::testing::table;

extern "C" {

velmora::testing::WinInetFunctions* WINAPI VelmoraWinInetFunctions() {
    return &table();
}

HINTERNET WINAPI InternetOpenA(LPCSTR agent, DWORD access, LPCSTR proxy, LPCSTR bypass,
                               DWORD flags) {
    return table().internetOpen(agent, access, proxy, bypass, flags);
}

BOOL WINAPI InternetCrackUrlA(LPCSTR url, DWORD length, DWORD flags, LPURL_COMPONENTSA parts) {
    return table().internetCrackUrl(url, length, flags, parts);
}

HINTERNET WINAPI InternetConnectA(HINTERNET root, LPCSTR server, INTERNET_PORT port, LPCSTR user,
                                  LPCSTR password, DWORD service, DWORD flags, DWORD_PTR context) {
    return table().internetConnect(root, server, port, user, password, service, flags, context);
}

HINTERNET WINAPI HttpOpenRequestA(HINTERNET connection, LPCSTR verb, LPCSTR object, LPCSTR version,
                                  LPCSTR referrer, LPCSTR* types, DWORD flags, DWORD_PTR context) {
    return table().httpOpenRequest(connection, verb, object, version, referrer, types, flags,
                                   context);
}

BOOL WINAPI HttpAddRequestHeadersA(HINTERNET request, LPCSTR headers, DWORD length,
                                   DWORD modifiers) {
    return table().httpAddRequestHeaders(request, headers, length, modifiers);
}

BOOL WINAPI HttpSendRequestExA(HINTERNET request, LPINTERNET_BUFFERSA in, LPINTERNET_BUFFERSA out,
                               DWORD flags, DWORD_PTR context) {
    return table().httpSendRequestEx(request, in, out, flags, context);
}

BOOL WINAPI InternetWriteFile(HINTERNET file, LPCVOID data, DWORD size, LPDWORD written) {
    return table().internetWriteFile(file, data, size, written);
}

BOOL WINAPI HttpEndRequestA(HINTERNET request, LPINTERNET_BUFFERSA out, DWORD flags,
                            DWORD_PTR context) {
    return table().httpEndRequest(request, out, flags, context);
}

BOOL WINAPI HttpQueryInfoA(HINTERNET request, DWORD level, LPVOID area, LPDWORD size,
                           LPDWORD index) {
    return table().httpQueryInfo(request, level, area, size, index);
}

BOOL WINAPI InternetReadFile(HINTERNET file, LPVOID area, DWORD size, LPDWORD read) {
    return table().internetReadFile(file, area, size, read);
}

BOOL WINAPI InternetQueryDataAvailable(HINTERNET file, LPDWORD available, DWORD flags,
                                       DWORD_PTR context) {
    return table().internetQueryDataAvailable(file, available, flags, context);
}

BOOL WINAPI InternetSetOptionA(HINTERNET handle, DWORD option, LPVOID area, DWORD size) {
    return table().internetSetOption(handle, option, area, size);
}

DWORD WINAPI InternetErrorDlg(HWND owner, HINTERNET request, DWORD error, DWORD flags,
                              LPVOID* data) {
    return table().internetErrorDlg(owner, request, error, flags, data);
}

BOOL WINAPI InternetCloseHandle(HINTERNET handle) {
    return table().internetCloseHandle(handle);
}

// How the administration tool looks at certificates; printers here have none.

BOOL WINAPI HttpSendRequestA(HINTERNET, LPCSTR, DWORD, LPVOID, DWORD) {
    return TRUE;
}

BOOL WINAPI InternetQueryOptionA(HINTERNET, DWORD, LPVOID, LPDWORD) {
    SetLastError(ERROR_INTERNET_INVALID_OPTION);
    return FALSE;
}

}  // extern "C"
