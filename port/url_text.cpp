#include "port/url_text.h"

#include <algorithm>

namespace velmora {
namespace {

struct Range {
    std::size_t begin;
    std::size_t end;  ///< position of the "@"; equal to `begin` if there is none
};

/// The last "@" before the path ends it: a password may hold one.
Range userInfo(std::string_view url) {
    const std::size_t scheme = url.find("://");
    const std::size_t begin = scheme == url.npos ? 0 : scheme + 3;
    const std::size_t path = std::min(url.find_first_of("/?#", begin), url.size());
    const std::size_t at = url.substr(begin, path - begin).rfind('@');
    return at == url.npos ? Range{begin, begin} : Range{begin, begin + at};
}

bool isAbsent(std::string_view url, const Range& range) {
    return range.end >= url.size() || url[range.end] != '@';
}

}  // namespace

bool hasUserInfo(std::string_view url) {
    return !isAbsent(url, userInfo(url));
}

std::string withoutUserInfo(std::string_view url) {
    const Range range = userInfo(url);
    if (isAbsent(url, range)) return std::string(url);
    std::string rest(url.substr(0, range.begin));
    return rest.append(url.substr(range.end + 1));
}

std::string maskedUrl(std::string_view url) {
    const Range range = userInfo(url);
    if (isAbsent(url, range)) return std::string(url);
    const std::size_t colon = url.find(':', range.begin);
    if (colon >= range.end) return std::string(url);
    std::string masked(url.substr(0, colon + 1));
    return masked.append("***").append(url.substr(range.end));
}

}  // namespace velmora
