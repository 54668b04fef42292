#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ipp/message.h"
#include "velmoractl/internet.h"
#include "velmoractl/job_check.h"
#include "velmoractl/printer_client.h"
#include "velmoractl/text/table.h"
#include "velmoractl/text/text_codec.h"

namespace velmora::ctl {

/// Toner, ink or another supply.
struct Supply {
    std::string name;  ///< as the printer wrote it
    std::optional<std::int64_t> percent;

    bool operator==(const Supply&) const = default;
};

/// The supplies that the printer reports: marker-levels (PWG 5100.9), or if there are none
/// printer-supply (PWG 5100.13).
std::vector<Supply> suppliesOf(const IppMessage& printer);

/// The printer's warnings and errors: its printer-state-reasons except "none", and the texts of
/// printer-alert-description, as the printer wrote them.
std::vector<std::string> alertsOf(const IppMessage& printer);

/// The results for one printer.
struct FleetResult {
    enum class State { ready, unknown, refused, unreachable };

    struct Check {
        std::vector<std::string> ports;  ///< in the ANSI code page
        JobCheck check;
    };

    std::string url;
    std::vector<std::string> ports;         ///< in the ANSI code page
    std::optional<PrinterProblem> problem;  ///< why the printer's attributes are missing
    std::string name;                       ///< printer-name
    std::string printerState;               ///< keyword of printer-state
    bool accepting = true;
    std::vector<Check> checks;
    std::vector<Supply> supplies;
    std::vector<std::string> alerts;
    CertificateReport certificate;

    State state() const;
};
const char* keywordOf(FleetResult::State state);

/// Takes over what the printer's attributes say, except for the checks.
void takeAttributes(const IppMessage& printer, FleetResult& result);

/// Ready, or not known where that counts as ready.
bool isReady(const FleetResult& result, bool allowUnknown);

Json toJson(const CertificateReport& certificate);
/// As docs/json.md describes a printer of a fleet.
Json toJson(const FleetResult& result, bool allowUnknown, const TextCodec& codec);

/// The list's columns.
std::span<const Column> fleetColumns();
/// The same as one row of the list; `mostPorts`: how many ports are named at most.
Json toRow(const FleetResult& result, std::size_t mostPorts, const TextCodec& codec);

/// Widths that suit the rows of printers before any has answered: of `unasked` only the URLs and
/// ports count.
std::vector<std::size_t> fleetWidths(const std::vector<FleetResult>& unasked, std::size_t mostPorts,
                                     const TextCodec& codec);

}  // namespace velmora::ctl
