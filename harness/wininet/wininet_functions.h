#pragma once

#include <windows.h>
#include <wininet.h>

namespace velmora::testing {

/// The WinInet functions that the program under test uses. The stand-in library forwards each call
/// through this table; a test replaces entries, and may call the ones it found there.
struct WinInetFunctions {
    decltype(&::InternetOpenA) internetOpen;
    decltype(&::InternetCrackUrlA) internetCrackUrl;
    decltype(&::InternetConnectA) internetConnect;
    decltype(&::HttpOpenRequestA) httpOpenRequest;
    decltype(&::HttpAddRequestHeadersA) httpAddRequestHeaders;
    decltype(&::HttpSendRequestExA) httpSendRequestEx;
    decltype(&::InternetWriteFile) internetWriteFile;
    decltype(&::HttpEndRequestA) httpEndRequest;
    decltype(&::HttpQueryInfoA) httpQueryInfo;
    decltype(&::InternetReadFile) internetReadFile;
    decltype(&::InternetQueryDataAvailable) internetQueryDataAvailable;
    decltype(&::InternetSetOptionA) internetSetOption;
    decltype(&::InternetErrorDlg) internetErrorDlg;
    decltype(&::InternetCloseHandle) internetCloseHandle;
};

/// The table of the stand-in that this process runs on; throws std::runtime_error when the
/// platform's own library was loaded instead. The test is declared with WININET_STAND_IN.
WinInetFunctions& winInetFunctions();

}  // namespace velmora::testing
