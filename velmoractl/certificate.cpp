#include <windows.h>
// After windows.h.
#include <wincrypt.h>
#include <wininet.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <map>
#include <memory>
#include <span>
#include <utility>

#include "ipp/connection.h"
#include "platform/text.h"
#include "velmoractl/at_once.h"
#include "velmoractl/certificate_store.h"
#include "velmoractl/internet.h"
#include "velmoractl/printer_client.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/fingerprint.h"
#include "velmoractl/text/shown_text.h"

namespace velmora::ctl {
namespace {

// INTERNET_OPTION_SERVER_CERT_CHAIN_CONTEXT: the chain, to be freed by the caller.
constexpr DWORD kOptionChain = 105;
constexpr DWORD kIgnoreAll = SECURITY_FLAG_IGNORE_CERT_CN_INVALID |
                             SECURITY_FLAG_IGNORE_CERT_DATE_INVALID |
                             SECURITY_FLAG_IGNORE_UNKNOWN_CA | SECURITY_FLAG_IGNORE_REVOCATION;

using UniqueChain = UniqueHandle<PCCERT_CHAIN_CONTEXT, CertFreeCertificateChain>;

std::string nameOf(PCCERT_CONTEXT certificate, DWORD flags,
                   DWORD type = CERT_NAME_SIMPLE_DISPLAY_TYPE) {
    std::array<wchar_t, 256> area{};
    CertGetNameStringW(certificate, type, flags, nullptr, area.data(),
                       static_cast<DWORD>(area.size()));
    return shown(toUtf8(std::wstring_view(area.data())));
}

std::string dateOf(const FILETIME& time) {
    SYSTEMTIME parts{};
    FileTimeToSystemTime(&time, &parts);
    char text[32];
    std::snprintf(text, sizeof text, "%04u-%02u-%02u", parts.wYear, parts.wMonth, parts.wDay);
    return text;
}

bool isSelfSigned(PCCERT_CONTEXT certificate) {
    const CERT_NAME_BLOB& subject = certificate->pCertInfo->Subject;
    const CERT_NAME_BLOB& issuer = certificate->pCertInfo->Issuer;
    return subject.cbData == issuer.cbData &&
           std::equal(subject.pbData, subject.pbData + subject.cbData, issuer.pbData);
}

std::string addressText(const CRYPT_DATA_BLOB& address) {
    std::string text;
    if (address.cbData != 4) return "(" + hexText({address.pbData, address.cbData}) + ")";
    for (DWORD i = 0; i < address.cbData; ++i)
        text += (i == 0 ? "" : ".") + std::to_string(address.pbData[i]);
    return text;
}

/// Its alternative names (RFC 5280, 4.2.1.6).
std::vector<std::string> hostNamesOf(PCCERT_CONTEXT certificate) {
    std::vector<std::string> names;
    const PCERT_EXTENSION extension =
        CertFindExtension(szOID_SUBJECT_ALT_NAME2, certificate->pCertInfo->cExtension,
                          certificate->pCertInfo->rgExtension);
    if (extension == nullptr) return names;
    const auto decode = [&](void* area, DWORD& size) {
        return CryptDecodeObject(X509_ASN_ENCODING, X509_ALTERNATE_NAME, extension->Value.pbData,
                                 extension->Value.cbData, 0, area, &size);
    };
    DWORD size = 0;
    if (!decode(nullptr, size) || size < sizeof(CERT_ALT_NAME_INFO)) return names;
    std::vector<std::max_align_t> area(size / sizeof(std::max_align_t) + 1);
    if (!decode(area.data(), size)) return names;
    const auto& info = *reinterpret_cast<const CERT_ALT_NAME_INFO*>(area.data());
    for (DWORD i = 0; i < info.cAltEntry; ++i) {
        const CERT_ALT_NAME_ENTRY& entry = info.rgAltEntry[i];
        if (entry.dwAltNameChoice == CERT_ALT_NAME_DNS_NAME)
            names.push_back(shown(toUtf8(std::wstring_view(entry.pwszDNSName))));
        if (entry.dwAltNameChoice == CERT_ALT_NAME_IP_ADDRESS)
            names.push_back(addressText(entry.IPAddress));
    }
    return names;
}

std::int64_t ticksOf(const FILETIME& time) {
    return static_cast<std::int64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

std::int64_t daysUntil(const FILETIME& time) {
    constexpr double kTicksOfDay = 24.0 * 3600 * 10'000'000;
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    return static_cast<std::int64_t>(
        std::floor(static_cast<double>(ticksOf(time) - ticksOf(now)) / kTicksOfDay));
}

/// One policy run that ignores some failures; what remains is a failure of another kind.
DWORD judge(PCCERT_CHAIN_CONTEXT chain, std::wstring& host, DWORD forgiven) {
    SSL_EXTRA_CERT_CHAIN_POLICY_PARA server{};
    server.cbSize = sizeof server;
    server.dwAuthType = AUTHTYPE_SERVER;
    server.fdwChecks = forgiven;
    server.pwszServerName = host.data();
    CERT_CHAIN_POLICY_PARA parameters{};
    parameters.cbSize = sizeof parameters;
    parameters.pvExtraPolicyPara = &server;
    CERT_CHAIN_POLICY_STATUS status{};
    status.cbSize = sizeof status;
    if (!CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_SSL, chain, &parameters, &status)) {
        return GetLastError();
    }
    return status.dwError;
}

void addProblems(PCCERT_CHAIN_CONTEXT chain, PCCERT_CONTEXT certificate, const std::string& host,
                 CertificateReport& report) {
    const LONG time = CertVerifyTimeValidity(nullptr, certificate->pCertInfo);
    if (time > 0) report.problems.push_back("it expired on " + report.validUntil);
    if (time < 0) report.problems.push_back("it is not valid before " + report.validFrom);
    std::wstring wideHost = toWide(host);
    constexpr DWORD kForgiveAuthority = SECURITY_FLAG_IGNORE_UNKNOWN_CA;
    constexpr DWORD kForgiveDate = SECURITY_FLAG_IGNORE_CERT_DATE_INVALID;
    constexpr DWORD kForgiveName = SECURITY_FLAG_IGNORE_CERT_CN_INVALID;
    if (judge(chain, wideHost, kForgiveAuthority | kForgiveDate) != 0) {
        report.problems.push_back("it is for another host name than " + quotedAnsi(host));
    }
    constexpr DWORD kUntrusted = CERT_TRUST_IS_UNTRUSTED_ROOT | CERT_TRUST_IS_PARTIAL_CHAIN;
    if ((chain->TrustStatus.dwErrorStatus & kUntrusted) != 0 ||
        judge(chain, wideHost, kForgiveDate | kForgiveName) != 0) {
        report.problems.push_back("its authority " + inQuotes(report.issuer) +
                                  " is not trusted by this computer");
    }
}

CertificateReport inspect(const UrlReading& url) {
    CertificateReport report;
    const UniqueInternet root(
        InternetOpenA("IPP client", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0));
    const UniqueInternet connection(InternetConnectA(root.get(), url.host.c_str(),
                                                     static_cast<INTERNET_PORT>(url.port), nullptr,
                                                     nullptr, INTERNET_SERVICE_HTTP, 0, 0));
    const UniqueInternet request(HttpOpenRequestA(
        connection.get(), "HEAD", url.path.c_str(), "HTTP/1.1", nullptr, nullptr,
        INTERNET_FLAG_SECURE | INTERNET_FLAG_NO_CACHE_WRITE | INTERNET_FLAG_NO_UI, 0));
    if (!request) return report;
    DWORD ignored = kIgnoreAll;
    InternetSetOptionA(request.get(), INTERNET_OPTION_SECURITY_FLAGS, &ignored, sizeof ignored);
    // The answer does not matter, only the certificate that the server shows.
    HttpSendRequestA(request.get(), nullptr, 0, nullptr, 0);
    PCCERT_CHAIN_CONTEXT found = nullptr;
    DWORD size = sizeof(void*);  // of the pointer that is given out
    if (!InternetQueryOptionA(request.get(), kOptionChain, &found, &size) || found == nullptr) {
        return report;
    }
    const UniqueChain chain(found);
    if (found->cChain == 0 || found->rgpChain[0]->cElement == 0) return report;
    PCCERT_CONTEXT const certificate = found->rgpChain[0]->rgpElement[0]->pCertContext;
    report.known = true;
    report.subject = nameOf(certificate, 0);
    report.issuer = nameOf(certificate, CERT_NAME_ISSUER_FLAG);
    const CERT_SIMPLE_CHAIN& certificates = *found->rgpChain[0];
    for (DWORD i = 0; i < certificates.cElement; ++i) {
        PCCERT_CONTEXT const one = certificates.rgpElement[i]->pCertContext;
        report.chain.push_back(nameOf(one, 0));
        const std::span<const std::uint8_t> encoded(one->pbCertEncoded, one->cbCertEncoded);
        report.links.push_back({nameOf(one, 0, CERT_NAME_RDN_TYPE),
                                sha256Of(encoded),
                                isSelfSigned(one),
                                {encoded.begin(), encoded.end()}});
    }
    report.names = hostNamesOf(certificate);
    report.validFrom = dateOf(certificate->pCertInfo->NotBefore);
    report.validUntil = dateOf(certificate->pCertInfo->NotAfter);
    report.daysLeft = daysUntil(certificate->pCertInfo->NotAfter);
    addProblems(found, certificate, url.host, report);
    return report;
}

}  // namespace

CertificateReport inspectCertificate(const UrlReading& url, std::chrono::seconds limit) {
    const auto report = std::make_shared<CertificateReport>();
    const bool ended = runBounded([report, url] { *report = inspect(url); }, limit);
    return ended ? *report : CertificateReport();
}

std::vector<CertificateReport> inspectCertificates(
    const std::vector<UrlReading>& urls, std::chrono::seconds limit,
    const std::function<void(std::size_t, const CertificateReport&)>& tell) {
    std::map<std::pair<std::string, unsigned>, std::vector<std::size_t>> servers;
    for (std::size_t i = 0; i < urls.size(); ++i) {
        if (urls[i].usable && urls[i].secure) servers[{urls[i].host, urls[i].port}].push_back(i);
    }
    std::vector<const std::vector<std::size_t>*> order;
    order.reserve(servers.size());
    for (const auto& [server, places] : servers)
        order.push_back(&places);
    std::vector<CertificateReport> reports(urls.size());
    atOnce(order.size(), [&](std::size_t one) {
        CertificateReport report;
        try {
            report = inspectCertificate(urls[order[one]->front()], limit);
        } catch (const std::exception&) {
            // Then there is none to report.
            report.known = false;
        }
        for (const std::size_t i : *order[one]) {
            reports[i] = report;
            if (tell) tell(i, report);
        }
    });
    return reports;
}

}  // namespace velmora::ctl
