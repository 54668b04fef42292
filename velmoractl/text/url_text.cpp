#include "velmoractl/text/url_text.h"

#include <algorithm>

namespace velmora::ctl {
namespace {

struct Range {
    std::size_t begin = 0;
    std::size_t end = 0;  ///< position of the "@"; equal to `begin` if there is none
};

/// The last "@" before the path ends it: a password may hold one.
Range userInfo(const std::string& url) {
    const std::size_t scheme = url.find("://");
    const std::size_t begin = scheme == std::string::npos ? 0 : scheme + 3;
    const std::size_t path = std::min(url.find_first_of("/?#", begin), url.size());
    const std::size_t at = url.substr(begin, path - begin).rfind('@');
    return at == std::string::npos ? Range{begin, begin} : Range{begin, begin + at};
}

bool isAbsent(const std::string& url, const Range& range) {
    return range.end >= url.size() || url[range.end] != '@';
}

}  // namespace

bool hasUserInfo(const std::string& url) {
    return !isAbsent(url, userInfo(url));
}

std::string withoutUserInfo(const std::string& url) {
    const Range range = userInfo(url);
    if (isAbsent(url, range)) return url;
    return url.substr(0, range.begin) + url.substr(range.end + 1);
}

std::string maskedUrl(const std::string& url) {
    const Range range = userInfo(url);
    if (isAbsent(url, range)) return url;
    const std::size_t colon = url.find(':', range.begin);
    if (colon >= range.end) return url;
    return url.substr(0, colon + 1) + "***" + url.substr(range.end);
}

}  // namespace velmora::ctl
