#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace velmora::ctl {

// What WinInet says about a URL, and about the certificate of its server.

/// A URL as the monitor will read it.
struct UrlReading {
    bool usable = false;
    std::string scheme;  ///< with "ipp" for a URL without one
    std::string host;
    unsigned port = 0;
    std::string path;
    bool secure = false;
    bool knownScheme = false;           ///< one of ipp, http and https, or another name for those
    bool onlyLooksSecure = false;       ///< says that it is encrypted, and will not be
    bool badPort = false;               ///< the port is not a number from 1 to 65535
    std::string problem;                ///< when it is not usable
    std::vector<std::string> warnings;  ///< traps; UTF-8, safe to show
};
UrlReading readUrl(const std::string& url);

/// One certificate of a chain.
struct CertificateLink {
    std::string subject;
    std::string sha256;  ///< hexText() of the whole certificate's SHA-256
    bool selfSigned = false;
    std::vector<std::uint8_t> encoded;  ///< DER
};

struct CertificateReport {
    bool known = false;  ///< the certificate could be read
    std::string subject, issuer, validFrom, validUntil;
    std::int64_t daysLeft = 0;           ///< whole days until it ends; negative: it has ended
    std::vector<std::string> chain;      ///< subjects, from the server's own up to the root
    std::vector<std::string> names;      ///< host names and addresses that it is for
    std::vector<CertificateLink> links;  ///< the chain again, with all that there is
    std::vector<std::string> problems;   ///< in words; empty: the chain is trusted for this host
};
/// Connects whatever the certificate is, and checks it. An empty report when the server does not
/// answer within `limit`.
CertificateReport inspectCertificate(const UrlReading& url, std::chrono::seconds limit);

/// The same for several, one connection for each host and port, some at once. `tell` gets the
/// places of those that are known now, from several threads. A URL that is not encrypted has an
/// empty report.
std::vector<CertificateReport> inspectCertificates(
    const std::vector<UrlReading>& urls, std::chrono::seconds limit,
    const std::function<void(std::size_t, const CertificateReport&)>& tell = {});

}  // namespace velmora::ctl
