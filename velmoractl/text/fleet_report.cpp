#include "velmoractl/text/fleet_report.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <string_view>

#include "port/url_text.h"
#include "velmoractl/text/ipp_text.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/text/whole_number.h"

namespace velmora::ctl {
namespace {

std::optional<std::int64_t> percentOf(std::string_view text) {
    const auto value = wholeNumber<std::int64_t>(text);
    // Negative numbers say that the level is not known.
    return value && *value >= 0 && *value <= 100 ? value : std::nullopt;
}

/// A field of printer-supply: "type=toner;maxcapacity=100;level=75;colorantname=black;".
std::string_view fieldOf(std::string_view supply, std::string_view name) {
    while (!supply.empty()) {
        const std::size_t end = std::min(supply.find(';'), supply.size());
        const std::string_view field = supply.substr(0, end);
        supply.remove_prefix(std::min(end + 1, supply.size()));
        const std::size_t equals = field.find('=');
        if (equals != std::string_view::npos && field.substr(0, equals) == name) {
            return field.substr(equals + 1);
        }
    }
    return {};
}

/// A level as the share of what fits in.
std::optional<std::int64_t> shareOf(std::string_view level, std::string_view capacity) {
    constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
    const auto has = wholeNumber<std::int64_t>(level);
    const auto holds = wholeNumber<std::int64_t>(capacity);
    if (!has || !holds) return percentOf(level);
    if (*has < 0 || *holds <= 0 || *holds > kMost || *has > *holds) return std::nullopt;
    return *has * 100 / *holds;
}

std::vector<Supply> markersOf(const IppMessage& printer) {
    const auto values = [&](const char* name) {
        return valuesOf(printer, IppGroup::printer, name);
    };
    const std::vector<std::string> names = values("marker-names");
    const std::vector<std::string> levels = values("marker-levels");
    std::vector<std::string> types = values("marker-types");
    types.resize(names.size());
    std::vector<Supply> supplies;
    for (std::size_t i = 0; i < std::min(names.size(), levels.size()); ++i) {
        // A container that fills up with waste is not a supply.
        if (types[i].starts_with("waste")) continue;
        supplies.push_back({names[i], percentOf(levels[i])});
    }
    return supplies;
}

std::vector<std::string> utf8(const std::vector<std::string>& texts, const TextCodec& codec) {
    std::vector<std::string> converted;
    converted.reserve(texts.size());
    for (const std::string& text : texts)
        converted.push_back(codec.toUtf8(text));
    return converted;
}

Json toJson(const PrinterProblem& problem) {
    return {{"code", problem.keyword}, {"message", problem.words}, {"remedy", problem.remedy}};
}

Json toJson(const JobCheck& check) {
    Json job{{"state", keywordOf(check.outcome)},
             {"status", check.status ? Json(*check.status) : Json()},
             {"message", check.words},
             {"attributes", Json::array()}};
    if (check.problem) job["problem"] = toJson(*check.problem);
    for (const RefusedAttribute& one : check.attributes) {
        job["attributes"].push_back(
            {{"name", one.name}, {"wanted", one.wanted}, {"offered", one.offered}});
    }
    return job;
}

/// Names separated by commas, and how many more there are.
std::string someOf(const std::vector<std::string>& names, std::size_t most) {
    std::string text;
    for (std::size_t i = 0; i < std::min(names.size(), most); ++i)
        text += (i == 0 ? "" : ", ") + names[i];
    if (names.size() > most) text += " and " + std::to_string(names.size() - most) + " more";
    return text;
}

std::string detailsOf(const FleetResult::Check& one, std::size_t mostPorts, bool many,
                      const TextCodec& codec) {
    const JobCheck& check = one.check;
    const bool accepted = check.outcome == JobCheck::Outcome::accepted;
    std::string text;
    for (const RefusedAttribute& attribute : check.attributes) {
        text += (text.empty() ? "" : "; ") + attribute.name + " " + shownValues(attribute.wanted) +
                (accepted ? " is ignored" : " is refused");
        if (!attribute.offered.empty()) text += ", it offers " + shownValues(attribute.offered);
    }
    if (!accepted && check.attributes.empty()) text = check.words;
    if (many && !text.empty()) text = someOf(utf8(one.ports, codec), mostPorts) + ": " + text;
    return text;
}

/// The supply that ends first, as "black 12 %".
std::string lowestOf(const std::vector<Supply>& supplies) {
    const Supply* lowest = nullptr;
    for (const Supply& one : supplies) {
        if (one.percent && (lowest == nullptr || *one.percent < *lowest->percent)) lowest = &one;
    }
    if (lowest == nullptr) return {};
    return lowest->name + " " + std::to_string(*lowest->percent) + " %";
}

/// For connections that fail, or that bring no answer that can be trusted.
bool isUnreachable(const PrinterProblem& problem) {
    constexpr std::string_view kKeywords[] = {
        "bad-url",       "host-unknown",        "no-connection",    "connection-closed",
        "time-out",      "certificate-expired", "certificate-name", "certificate-untrusted",
        "no-encryption", "internal-error"};
    return std::ranges::find(kKeywords, problem.keyword) != std::end(kKeywords);
}

}  // namespace

std::vector<Supply> suppliesOf(const IppMessage& printer) {
    std::vector<Supply> supplies = markersOf(printer);
    if (!supplies.empty()) return supplies;
    for (const std::string& one : valuesOf(printer, IppGroup::printer, "printer-supply")) {
        if (fieldOf(one, "class") == "receptacleThatIsFilled" ||
            fieldOf(one, "type").starts_with("waste")) {
            continue;
        }
        std::string name(fieldOf(one, "colorantname"));
        if (name.empty() || name == "none") name = fieldOf(one, "type");
        if (name.empty()) continue;
        supplies.push_back({name, shareOf(fieldOf(one, "level"), fieldOf(one, "maxcapacity"))});
    }
    return supplies;
}

std::vector<std::string> alertsOf(const IppMessage& printer) {
    std::vector<std::string> alerts;
    for (const char* name : {"printer-state-reasons", "printer-alert-description"}) {
        for (std::string& text : valuesOf(printer, IppGroup::printer, name)) {
            const bool known = std::ranges::find(alerts, text) != alerts.end();
            if (!text.empty() && text != "none" && !known) alerts.push_back(std::move(text));
        }
    }
    return alerts;
}

void takeAttributes(const IppMessage& printer, FleetResult& result) {
    const auto value = [&](const char* name) { return valueOf(printer, IppGroup::printer, name); };
    result.name = value("printer-name");
    result.printerState = enumKeyword("printer-state", value("printer-state"));
    result.accepting = value("printer-is-accepting-jobs") != "false";
    result.supplies = suppliesOf(printer);
    result.alerts = alertsOf(printer);
}

FleetResult::State FleetResult::state() const {
    if (problem) return isUnreachable(*problem) ? State::unreachable : State::refused;
    State worst = accepting ? State::ready : State::refused;
    for (const Check& one : checks) {
        State state = State::ready;
        switch (one.check.outcome) {
            case JobCheck::Outcome::accepted:
                break;
            case JobCheck::Outcome::unknown:
                state = State::unknown;
                break;
            case JobCheck::Outcome::refused:
                state = State::refused;
                break;
            case JobCheck::Outcome::failed:
                // Without a problem there was no memory for the request.
                state = one.check.problem && !isUnreachable(*one.check.problem)
                            ? State::refused
                            : State::unreachable;
                break;
        }
        worst = std::max(worst, state);
    }
    return worst;
}

const char* keywordOf(FleetResult::State state) {
    switch (state) {
        case FleetResult::State::ready:
            return "ready";
        case FleetResult::State::unknown:
            return "unknown";
        case FleetResult::State::refused:
            return "refused";
        case FleetResult::State::unreachable:
            return "unreachable";
    }
    return "";
}

bool isReady(const FleetResult& result, bool allowUnknown) {
    const FleetResult::State state = result.state();
    return state == FleetResult::State::ready ||
           (allowUnknown && state == FleetResult::State::unknown && result.accepting);
}

Json toJson(const CertificateReport& certificate) {
    return {{"subject", certificate.subject},      {"issuer", certificate.issuer},
            {"valid-from", certificate.validFrom}, {"valid-until", certificate.validUntil},
            {"days-left", certificate.daysLeft},   {"chain", certificate.chain},
            {"problems", certificate.problems}};
}

Json toJson(const FleetResult& result, bool allowUnknown, const TextCodec& codec) {
    const bool told = !result.problem;
    Json json{{"url", codec.toUtf8(maskedUrl(result.url))},
              {"ready", isReady(result, allowUnknown)},
              {"state", keywordOf(result.state())},
              {"ports", utf8(result.ports, codec)}};
    if (result.problem) json["problem"] = toJson(*result.problem);
    json["printer-name"] = told ? Json(result.name) : Json();
    json["printer-state"] = told ? Json(result.printerState) : Json();
    json["accepting-jobs"] = told ? Json(result.accepting) : Json();
    json["jobs"] = Json::array();
    for (const FleetResult::Check& one : result.checks) {
        Json job{{"ports", utf8(one.ports, codec)}};
        job.update(toJson(one.check));
        json["jobs"].push_back(std::move(job));
    }
    if (result.certificate.known) json["certificate"] = toJson(result.certificate);
    json["supplies"] = Json::array();
    for (const Supply& one : result.supplies) {
        json["supplies"].push_back(
            {{"name", one.name}, {"percent", one.percent ? Json(*one.percent) : Json()}});
    }
    json["alerts"] = result.alerts;
    return json;
}

std::span<const Column> fleetColumns() {
    static constexpr Column kColumns[] = {
        {"url", "PRINTER"},          {"state", "STATE"},
        {"ports", "PORTS"},          {"certificate-days", "CERT DAYS"},
        {"supply", "LOWEST SUPPLY"}, {"alerts", "ALERTS"},
        {"details", "DETAILS"}};
    return kColumns;
}

Json toRow(const FleetResult& result, std::size_t mostPorts, const TextCodec& codec) {
    std::string details;
    const auto append = [&](const std::string& text) {
        if (!text.empty()) details += (details.empty() ? "" : "; ") + text;
    };
    if (result.problem) append(result.problem->words + "; " + result.problem->remedy);
    if (!result.accepting) append("it takes no jobs now");
    for (const FleetResult::Check& one : result.checks)
        append(detailsOf(one, mostPorts, result.checks.size() > 1, codec));
    for (const std::string& problem : result.certificate.problems)
        append("certificate: " + problem);
    return {
        {"url", codec.toUtf8(maskedUrl(result.url))},
        {"state", keywordOf(result.state())},
        {"ports", someOf(utf8(result.ports, codec), mostPorts)},
        {"certificate-days", result.certificate.known ? Json(result.certificate.daysLeft) : Json()},
        {"supply", lowestOf(result.supplies)},
        {"alerts", result.alerts},
        {"details", details}};
}

std::vector<std::size_t> fleetWidths(const std::vector<FleetResult>& unasked, std::size_t mostPorts,
                                     const TextCodec& codec) {
    constexpr std::size_t kSupply = 16;
    constexpr std::size_t kAlerts = 20;
    std::vector<std::size_t> widths;
    for (const Column& column : fleetColumns())
        widths.push_back(std::string_view(column.heading).size());
    widths[1] = std::string_view("unreachable").size();
    for (const FleetResult& one : unasked) {
        widths[0] = std::max(widths[0], codec.toUtf8(maskedUrl(one.url)).size());
        widths[2] = std::max(widths[2], someOf(utf8(one.ports, codec), mostPorts).size());
    }
    widths[4] = kSupply;
    widths[5] = kAlerts;
    return widths;
}

}  // namespace velmora::ctl
