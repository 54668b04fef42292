#include "ipp/printer_url.h"

#include <windows.h>
#include <wininet.h>

#include <array>
#include <optional>

namespace velmora {
namespace {

/// The host name of `url`; none, with the thread's last error set, when the platform refuses the
/// URL.
std::optional<std::string> crackHostName(const std::string& url) {
    std::array<char, 128> hostName{};
    URL_COMPONENTSA parts{};
    parts.dwStructSize = sizeof parts;
    parts.lpszHostName = hostName.data();
    parts.dwHostNameLength = static_cast<DWORD>(hostName.size());
    if (!InternetCrackUrlA(url.c_str(), 0, 0, &parts)) return std::nullopt;
    return hostName.data();
}

}  // namespace

bool IsValidPrinterUrl(const std::string& url) {
    if (crackHostName(url)) return true;
    if (GetLastError() != ERROR_INTERNET_UNRECOGNIZED_SCHEME) return false;
    const std::optional<std::string> hostName = crackHostName("ipp://" + url);
    return hostName && !hostName->empty();
}

}  // namespace velmora
