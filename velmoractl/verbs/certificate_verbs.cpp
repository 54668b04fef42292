#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "velmoractl/certificate_store.h"
#include "velmoractl/internet.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/fingerprint.h"
#include "velmoractl/text/fleet_report.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/verbs/port_checks.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

struct CertificateOptions {
    std::string url;
    std::string fingerprint;
    unsigned timeout = 30;
    bool force = false;
};

CertificateReport inspected(const CertificateOptions& options, const std::string& what) {
    checkNoUserInfo(options.url, what);
    const UrlReading url = readUrl(options.url);
    if (!url.usable) {
        throw CommandError(ExitCode::usage, what, url.problem,
                           "give one such as https://printer.example:631/ipp/print", "bad-url");
    }
    if (!url.secure) {
        throw CommandError(ExitCode::usage, what, "the URL is not encrypted",
                           "give one that begins with https://", "bad-url");
    }
    CertificateReport report = inspectCertificate(url, std::chrono::seconds(options.timeout));
    if (!report.known) {
        throw CommandError(ExitCode::printerProblem, what, "no certificate could be read",
                           "check that something answers there, and that it speaks https",
                           "no-encryption");
    }
    return report;
}

std::string checkedFingerprint(const std::string& text, const std::string& what) {
    const std::optional<std::string> fingerprint = fingerprintOf(text);
    if (!fingerprint) {
        throw CommandError(
            ExitCode::usage, what, quotedAnsi(text) + " is not a SHA-256 fingerprint",
            "give 64 hexadecimal digits, as \"certificate show\" tells them", "bad-value");
    }
    return *fingerprint;
}

Json described(const CertificateOptions& options, const CertificateReport& report) {
    Json json{{"url", toUtf8(options.url)}};
    json.update(toJson(report));
    json["sha256"] = report.links.front().sha256;
    json["names"] = report.names;
    json["chain"] = Json::array();
    for (const CertificateLink& one : report.links) {
        json["chain"].push_back(
            {{"subject", one.subject}, {"sha256", one.sha256}, {"self-signed", one.selfSigned}});
    }
    return json;
}

void show(const Session& session, const CertificateOptions& options) {
    const std::string what = "certificate show " + quotedUrl(options.url);
    const CertificateReport report = inspected(options, what);
    if (session.wantsJson()) return session.answer(described(options, report));
    const CertificateLink& own = report.links.front();
    std::string names;
    for (const std::string& name : report.names)
        names += (names.empty() ? "" : ", ") + name;
    const std::int64_t days = report.daysLeft;
    session.say("Certificate of " + quotedUrl(options.url));
    session.say("  subject: " + own.subject);
    session.say("  names: " + (names.empty() ? "none" : names));
    session.say("  valid: " + report.validFrom + " to " + report.validUntil +
                (days < 0 ? ", which is over" : ", " + std::to_string(days) + " days left"));
    session.say("  SHA-256: " + shownFingerprint(own.sha256));
    session.say("  chain:");
    for (const CertificateLink& one : report.links) {
        session.say("    " + one.subject + (one.selfSigned ? " (signed by itself)" : ""));
        session.say("      " + shownFingerprint(one.sha256));
    }
    for (const std::string& problem : report.problems)
        session.say("  problem: " + problem);
    if (report.problems.empty()) session.say("  trusted by this computer");
}

void checkHere(const Session& session, const std::string& what) {
    if (session.server.empty()) return;
    throw CommandError(ExitCode::usage, what, "another computer's certificates cannot be changed",
                       "run the command there");
}

void trust(const Session& session, const CertificateOptions& options) {
    const std::string what = "certificate trust " + quotedUrl(options.url);
    checkHere(session, what);
    const std::string wanted = checkedFingerprint(options.fingerprint, what);
    const CertificateReport report = inspected(options, what);
    const auto found = std::ranges::find(report.links, wanted, &CertificateLink::sha256);
    if (found == report.links.end()) {
        throw CommandError(ExitCode::conflict, what,
                           "the printer shows another certificate, with SHA-256 " +
                               shownFingerprint(report.links.front().sha256),
                           "compare it with the one on the printer's own panel or page");
    }
    if (!found->selfSigned) {
        throw CommandError(
            ExitCode::conflict, what,
            "that certificate is signed by another one, which Windows wants to trust",
            "give the fingerprint of the last one of the chain, or import the "
            "authority's certificate");
    }
    const bool added = trustCertificate(found->encoded, what);
    if (session.wantsJson()) session.answer({{"sha256", wanted}, {"added", added}});
    session.say("The certificate " + inQuotes(found->subject) +
                (added ? " is among this computer's trusted roots now."
                       : " was among this computer's trusted roots already."));
    session.say("\"certificate show\" tells whether anything else is wrong with it.");
}

/// The fingerprint that was given, or that of the root in the chain that the printer shows.
std::string fingerprintToRemove(const CertificateOptions& options, const std::string& what) {
    if (options.url.empty() == options.fingerprint.empty()) {
        throw CommandError(ExitCode::usage, what,
                           options.url.empty() ? "no certificate is named" : "two are named",
                           "give the printer's URL, or --fingerprint SHA256");
    }
    if (options.url.empty()) return checkedFingerprint(options.fingerprint, what);
    const CertificateReport report = inspected(options, what);
    const auto root = std::ranges::find(report.links, true, &CertificateLink::selfSigned);
    if (root != report.links.end()) return root->sha256;
    throw CommandError(ExitCode::notFound, what,
                       "the printer shows no certificate that is signed by itself",
                       "give the one to remove with --fingerprint");
}

void untrust(const Session& session, const CertificateOptions& options) {
    const std::string what = "certificate untrust" +
                             (options.url.empty() ? std::string() : " " + quotedUrl(options.url));
    checkHere(session, what);
    const std::string wanted = fingerprintToRemove(options, what);
    const std::string shownOne = "the certificate with SHA-256 " + shownFingerprint(wanted);
    switch (untrustCertificate(wanted, options.force, what)) {
        case Untrusted::absent:
            throw CommandError(ExitCode::notFound, what,
                               shownOne + " is not among this computer's trusted roots",
                               "\"certificate show URL\" tells a printer's fingerprints");
        case Untrusted::notOurs:
            throw CommandError(ExitCode::conflict, what,
                               shownOne + " was not put there by \"certificate trust\"",
                               "make sure that nothing else needs it, and add --force");
        case Untrusted::elsewhere:
            throw CommandError(ExitCode::conflict, what,
                               shownOne + " is brought by a policy or by Windows itself",
                               "take it out of the policy that brings it");
        case Untrusted::removed:
            break;
    }
    if (session.wantsJson()) session.answer({{"sha256", wanted}, {"removed", true}});
    session.say("The certificate with SHA-256 " + shownFingerprint(wanted) +
                " is no longer among this computer's trusted roots.");
}

Option addUrl(Verb verb, CertificateOptions& options) {
    verb.seconds("--timeout", options.timeout, 1, 600, "longest wait for an answer, in seconds");
    return verb.text("url", options.url, "the printer's URL", "URL");
}

}  // namespace

void addCertificateVerbs(Verb app, Session& session) {
    constexpr char kShow[] = "certificate show https://printer.example:631/ipp/print";
    Verb group = app.group("certificate", "look at printers' certificates, and trust them", kShow);

    const auto shown = std::make_shared<CertificateOptions>();
    addUrl(addVerb(group, session, "show", "what a printer's certificate says, and its fingerprint",
                   kShow, [&session, shown] { show(session, *shown); }),
           *shown)
        .required();

    const auto trusted = std::make_shared<CertificateOptions>();
    Verb trustVerb =
        addVerb(group, session, "trust",
                "put a certificate that the printer shows among this computer's trusted roots",
                "certificate trust https://printer.example:631/ipp/print --fingerprint SHA256",
                [&session, trusted] { trust(session, *trusted); });
    addUrl(trustVerb, *trusted).required();
    trustVerb
        .text("--fingerprint", trusted->fingerprint,
              "its SHA-256, as the printer's own panel or page tells it", "SHA256")
        .required();

    const auto removed = std::make_shared<CertificateOptions>();
    Verb untrustVerb = addVerb(
        group, session, "untrust",
        "take a certificate that \"certificate trust\" has put there out of this computer's "
        "trusted roots",
        "certificate untrust --fingerprint SHA256",
        [&session, removed] { untrust(session, *removed); });
    addUrl(untrustVerb, *removed);
    untrustVerb.text("--fingerprint", removed->fingerprint,
                     "its SHA-256, for a printer that is no longer there", "SHA256");
    untrustVerb.flag("--force", removed->force, "also one that somebody else has put there");
}

}  // namespace velmora::ctl
