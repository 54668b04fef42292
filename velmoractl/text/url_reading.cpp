#include <algorithm>
#include <cctype>
#include <cstdint>
#include <optional>

#include "ipp/connection.h"
#include "velmoractl/internet.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/text/whole_number.h"

namespace velmora::ctl {
namespace {

std::string lower(std::string text) {
    std::ranges::transform(text, text.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

/// The part between "://" (or the beginning) and the path.
std::string authorityOf(const std::string& url) {
    const std::size_t scheme = url.find("://");
    const std::size_t begin = scheme == std::string::npos ? 0 : scheme + 3;
    return url.substr(begin, url.find_first_of("/?#", begin) - begin);
}

/// The port as it was typed; empty if there is none.
std::string typedPort(const std::string& authority) {
    const std::size_t colon = authority.rfind(':');
    const std::size_t bracket = authority.rfind(']');  // an IPv6 address has colons of its own
    if (colon == std::string::npos || (bracket != std::string::npos && colon < bracket)) return {};
    return authority.substr(colon + 1);
}

bool isPort(const std::string& text) {
    const auto port = wholeNumber<std::uint16_t>(text);
    return port && *port != 0;
}

void addWarnings(const std::string& url, UrlReading& reading, bool completed) {
    const std::string authority = authorityOf(url);
    auto& warnings = reading.warnings;
    const std::string port = std::to_string(reading.port);
    if (completed) {
        warnings.push_back("the URL has no scheme: the monitor puts ipp:// in front of it");
    }
    const std::string scheme = lower(reading.scheme);
    reading.knownScheme =
        scheme == "ipp" || scheme == "http" || scheme == "https" || scheme == "ipps";
    reading.onlyLooksSecure = (scheme == "https" || scheme == "ipps") && !reading.secure;
    if (scheme == "https" && reading.scheme != "https") {
        warnings.push_back(
            "the scheme is not written in small letters: the monitor sends without "
            "encryption; write https");
    } else if (scheme == "ipps") {
        warnings.push_back(
            "the monitor does not know ipps and sends without encryption; write "
            "https and the port, as in https://" +
            toUtf8(reading.host) + ":631");
    } else if (scheme != "https" && scheme != "http" && scheme != "ipp") {
        warnings.push_back("the scheme " + quotedAnsi(reading.scheme) +
                           " is not one of ipp, http and https; the monitor speaks HTTP to port " +
                           port + " all the same");
    }
    if (authority.find('@') != std::string::npos) {
        warnings.push_back("the user name in the URL is not used; give it to the port instead");
    }
    const std::string typed = typedPort(authority);
    reading.badPort = !typed.empty() && !isPort(typed);
    if (reading.badPort) {
        warnings.push_back("port " + shown(toUtf8(typed)) + " is not possible; " + port +
                           " is used");
    }
    if (url.find('#') != std::string::npos) {
        warnings.push_back("what follows the # may be sent as part of the path");
    }
    if (reading.path.empty() || reading.path == "/") {
        warnings.push_back("the URL has no path; most printers want one, such as /ipp/print");
    }
}

}  // namespace

UrlReading readUrl(const std::string& url) {
    UrlReading reading;
    const std::optional<PrinterUrlParts> parts = crackPrinterUrl(url);
    if (!parts) {
        reading.problem = url.empty() ? "the URL is empty"
                                      : "the URL cannot be read (its host may have 127 characters, "
                                        "its path 511)";
        return reading;
    }
    reading.scheme = parts->scheme.data();
    reading.host = parts->host.data();
    reading.path = parts->path.data();
    reading.port = parts->port;
    reading.secure = parts->secure;
    if (reading.host.empty()) {
        reading.problem =
            url.find("://") == std::string::npos
                ? "what is in front of the first colon, " + quotedAnsi(reading.scheme) +
                      ", is taken for the scheme, and there is no host; write ipp:// in front"
                : "the URL has no host name";
        return reading;
    }
    reading.usable = true;
    addWarnings(url, reading, parts->schemeAdded);
    return reading;
}

}  // namespace velmora::ctl
