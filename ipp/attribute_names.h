#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace velmora {

/// The attribute names that this program knows. An attribute's name index is its position.
class IppAttributeNames {
  public:
    static constexpr std::size_t kCount = 129;

    /// Exact and case-sensitive; -1 when the table lacks the name.
    static int indexOf(std::string_view name) noexcept;

    /// "Unrecognized" for -1 and for any other number that is not an index.
    static std::string_view nameOf(int index) noexcept;

    static constexpr std::span<const std::string_view, kCount> all() noexcept { return kNames; }

  private:
    static constexpr std::array<std::string_view, kCount> kNames = {
        // Operation attributes (RFC 2911, 3).
        "attributes-charset", "attributes-natural-language", "document-uri", "last-document",
        "printer-uri", "requesting-user-name", "status-message", "detailed-status-message",
        "document-access-error", "compression", "document-format", "document-name",
        "document-natural-language", "ipp-attribute-fidelity", "limit", "message", "my-jobs",
        "requested-attributes", "which-jobs",
        // Job template attributes (4.2), then their -default and -supported forms.
        "job-priority", "job-hold-until", "job-sheets", "multiple-document-handling", "copies",
        "finishings", "page-ranges", "sides", "number-up", "orientation-requested", "media",
        "printer-resolution", "print-quality", "job-priority-default", "job-hold-until-default",
        "job-sheets-default", "multiple-document-handling-default", "copies-default",
        "finishings-default", "sides-default", "number-up-default", "orientation-requested-default",
        "media-default", "printer-resolution-default", "print-quality-default",
        "job-priority-supported", "job-hold-until-supported", "job-sheets-supported",
        "multiple-document-handling-supported", "copies-supported", "finishings-supported",
        "page-ranges-supported", "sides-supported", "number-up-supported",
        "orientation-requested-supported", "media-supported", "printer-resolution-supported",
        "print-quality-supported",
        // Job description attributes (4.3).
        "job-uri", "job-id", "job-printer-uri", "job-more-info", "job-name",
        "job-originating-user-name", "job-state", "job-state-reasons", "job-state-message",
        "job-detailed-status-messages", "job-document-access-errors", "number-of-documents",
        "output-device-assigned", "time-at-creation", "time-at-processing", "time-at-completed",
        "job-printer-up-time", "date-time-at-creation", "date-time-at-processing",
        "date-time-at-completed", "number-of-intervening-jobs", "job-message-from-operator",
        "job-k-octets", "job-impressions", "job-media-sheets", "job-k-octets-processed",
        "job-impressions-completed", "job-media-sheets-completed",
        // Printer description attributes (4.4).
        "printer-uri-supported", "uri-security-supported", "uri-authentication-supported",
        "printer-name", "printer-location", "printer-info", "printer-more-info",
        "printer-driver-installer", "printer-make-and-model", "printer-more-info-manufacturer",
        "printer-state", "printer-state-reasons", "printer-state-message", "ipp-versions-supported",
        "operations-supported", "multiple-document-jobs-supported", "charset-configured",
        "charset-supported", "natural-language-configured", "generated-natural-language-supported",
        "document-format-default", "document-format-supported", "printer-is-accepting-jobs",
        "queued-job-count", "printer-message-from-operator", "color-supported",
        "reference-uri-schemes-supported", "pdl-override-supported", "printer-up-time",
        "printer-current-time", "multiple-operation-time-out", "compression-supported",
        "job-k-octets-supported", "job-impressions-supported", "job-media-sheets-supported",
        "pages-per-minute", "pages-per-minute-color",
        // Extensions of the printers' vendor.
        "printer-verify-password", "printer-admin-password", "printer-home-page-url",
        "printer-help-page-url", "printer-redips-url", "printer-default-printer-name",
        "printer-fileserver-url"};
};

/// The index of a name that is known when the program is built; a name that the table lacks does
/// not compile.
consteval int ippName(std::string_view name) {
    for (std::size_t i = 0; i < IppAttributeNames::kCount; ++i) {
        if (IppAttributeNames::all()[i] == name) return static_cast<int>(i);
    }
    throw "no such attribute name";
}

}  // namespace velmora
