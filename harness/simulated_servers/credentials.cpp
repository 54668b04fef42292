#include "harness/simulated_servers/credentials.h"

// After windows.h.
#include <wininet.h>

#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace velmora::testing {
namespace {

struct Credentials {
    std::string user;
    std::string password;
};

// Wine's functions, once they have been looked up.
decltype(&InternetSetOptionA) realSetOption = nullptr;
decltype(&HttpOpenRequestA) realOpenRequest = nullptr;
decltype(&HttpAddRequestHeadersA) realAddHeaders = nullptr;
decltype(&HttpSendRequestExA) realSend = nullptr;

std::mutex lock;
std::map<HINTERNET, Credentials> ofConnections;
std::map<HINTERNET, HINTERNET> connections;  // of requests

std::string base64(std::string_view text) {
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string result;
    for (; !text.empty(); text.remove_prefix(text.size() < 3 ? text.size() : 3)) {
        unsigned bits = 0;
        for (std::size_t i = 0; i < 3; ++i)
            bits = bits << 8 | (i < text.size() ? static_cast<unsigned char>(text[i]) : 0U);
        for (std::size_t i = 0; i < 4; ++i)
            result += i <= text.size() ? kDigits[bits >> (18 - 6 * i) & 63] : '=';
    }
    return result;
}

BOOL WINAPI setOption(HINTERNET handle, DWORD option, void* area, DWORD size) {
    if (option == INTERNET_OPTION_USERNAME || option == INTERNET_OPTION_PASSWORD) {
        const std::lock_guard held(lock);
        Credentials& credentials = ofConnections[handle];
        (option == INTERNET_OPTION_USERNAME ? credentials.user : credentials.password)
            .assign(static_cast<const char*>(area), size);
    }
    return realSetOption(handle, option, area, size);
}

HINTERNET WINAPI openRequest(HINTERNET connection, const char* verb, const char* object,
                             const char* version, const char* referrer, const char** types,
                             DWORD flags, DWORD_PTR context) {
    const HINTERNET request =
        realOpenRequest(connection, verb, object, version, referrer, types, flags, context);
    const std::lock_guard held(lock);
    connections[request] = connection;
    return request;
}

BOOL WINAPI send(HINTERNET request, INTERNET_BUFFERSA* in, INTERNET_BUFFERSA* out, DWORD flags,
                 DWORD_PTR context) {
    std::string header;
    {
        const std::lock_guard held(lock);
        const auto found = ofConnections.find(connections[request]);
        if (found != ofConnections.end() && !found->second.user.empty()) {
            header = "Authorization: Basic " +
                     base64(found->second.user + ":" + found->second.password) + "\r\n";
        }
    }
    if (!header.empty()) {
        realAddHeaders(request, header.c_str(), static_cast<DWORD>(header.size()),
                       HTTP_ADDREQ_FLAG_ADD | HTTP_ADDREQ_FLAG_REPLACE);
    }
    return realSend(request, in, out, flags, context);
}

template <class Function>
void find(HMODULE wininet, const char* name, Function& real) {
    real = reinterpret_cast<Function>(reinterpret_cast<AnyFunction>(GetProcAddress(wininet, name)));
}

}  // namespace

AnyFunction withCredentials(HMODULE wininet, const char* name) {
    const auto is = [&](const char* wanted) { return std::strcmp(name, wanted) == 0; };
    find(wininet, "InternetSetOptionA", realSetOption);
    find(wininet, "HttpOpenRequestA", realOpenRequest);
    find(wininet, "HttpAddRequestHeadersA", realAddHeaders);
    find(wininet, "HttpSendRequestExA", realSend);
    if (is("InternetSetOptionA")) return reinterpret_cast<AnyFunction>(&setOption);
    if (is("HttpOpenRequestA")) return reinterpret_cast<AnyFunction>(&openRequest);
    if (is("HttpSendRequestExA")) return reinterpret_cast<AnyFunction>(&send);
    return nullptr;
}

}  // namespace velmora::testing
