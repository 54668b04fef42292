#include "velmoractl/text/selection.h"

#include <algorithm>
#include <optional>
#include <tuple>
#include <utility>

#include "port/port_config.h"
#include "velmoractl/command_error.h"
#include "velmoractl/text/directory_paths.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/text/template_attributes.h"

namespace velmora::ctl {
namespace {

void removeCharacter(std::string_view& utf8) {
    do {
        utf8.remove_prefix(1);
    } while (!utf8.empty() && (utf8.front() & 0xC0) == 0x80);
}

const char* authenticationOf(const PrinterAddress& address) {
    return address.useAuthentication ? "true" : "false";
}

}  // namespace

bool matches(std::string_view text, std::string_view pattern) {
    // What follows the last star, and the text that this star has not taken.
    std::optional<std::pair<std::string_view, std::string_view>> star;
    while (!text.empty()) {
        if (pattern.starts_with('*')) {
            pattern.remove_prefix(1);
            star = {pattern, text};
        } else if (pattern.starts_with('?')) {
            pattern.remove_prefix(1);
            removeCharacter(text);
        } else if (pattern.starts_with(text.front())) {
            pattern.remove_prefix(1);
            text.remove_prefix(1);
        } else if (star) {
            removeCharacter(star->second);
            std::tie(pattern, text) = *star;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*') == std::string_view::npos;
}

Selector::Selector(const Selection& selection, const std::vector<std::string>& keys,
                   const TextCodec& codec, const std::string& what)
    : codec_(codec), unnamed_(selection.names.empty()) {
    for (const std::string& pattern : selection.patterns)
        patterns_.push_back(codec.toUtf8(pattern));
    for (const std::string& text : selection.where) {
        const std::size_t sign = std::min(text.find('='), text.size());
        const std::string key = text.substr(0, sign);
        if (sign == text.size() || std::ranges::find(keys, key) == keys.end()) {
            std::string known;
            for (const std::string& name : keys)
                known += (known.empty() ? "" : ", ") + name;
            throw CommandError(
                ExitCode::usage, what, "--where cannot be " + inQuotes(codec.toUtf8(text)),
                "give KEY=PATTERN, such as url=ipp://old*; keys: " + known, "bad-value");
        }
        conditions_.push_back({key, codec.toUtf8(text.substr(sign + 1))});
    }
}

bool Selector::fits(const std::string& name, const std::string& path, const Values& values) const {
    if (!unnamed_) return false;
    const auto named = [&](const std::string& pattern) {
        const bool aboutPath = pattern.find('/') != std::string::npos;
        return matches(codec_.toUtf8(aboutPath ? path : name), pattern);
    };
    return (patterns_.empty() || std::ranges::any_of(patterns_, named)) && meetsConditions(values);
}

bool Selector::meetsConditions(const Values& values) const {
    return std::ranges::all_of(conditions_, [&](const Condition& condition) {
        return std::ranges::any_of(values(condition.key), [&](const std::string& value) {
            return matches(codec_.toUtf8(value), condition.pattern);
        });
    });
}

std::vector<std::string> portKeys() {
    std::vector<std::string> keys = {"name", "mode", "url", "authentication", "user", "group"};
    for (const TemplateAttribute& attribute : templateAttributes())
        keys.emplace_back(attribute.name);
    return keys;
}

std::vector<std::string> valuesOf(const PortConfig& port, const DirectoryPaths& names,
                                  std::string_view key) {
    if (key == "name") return {port.name};
    if (key == "mode") return {port.singleTarget ? "single-printer" : "multi-remote"};
    if (const TemplateAttribute* const attribute = findTemplateAttribute(key)) {
        return {attribute->get(port.jobTemplate)};
    }
    std::vector<std::string> groups;
    if (!port.singleTarget && key == "group") {
        for (const std::uint32_t id : port.targetIds)
            groups.push_back(names.pathOf(id));
    }
    // A port that prints to groups has no printer of its own.
    if (!port.singleTarget || key == "group") return groups;
    if (key == "url") return {port.printer.url};
    if (key == "authentication") return {authenticationOf(port.printer)};
    if (key == "user" && port.printer.useAuthentication) return {port.printer.userName};
    return {};
}

std::vector<std::string> printerKeys() {
    return {"name", "url", "authentication", "user"};
}

std::vector<std::string> valuesOf(const CGroupsDBPrinter& printer, std::string_view key) {
    if (key == "name") return {printer.name};
    if (key == "url") return {printer.address.url};
    if (key == "authentication") return {authenticationOf(printer.address)};
    if (key == "user" && printer.address.useAuthentication) return {printer.address.userName};
    return {};
}

std::vector<PortConfig> selected(const std::vector<PortConfig>& ports, const CGroupsDB& directory,
                                 const Selector& selector) {
    const DirectoryPaths names(directory);
    std::vector<PortConfig> result;
    for (const PortConfig& port : ports) {
        const auto values = [&](std::string_view key) { return valuesOf(port, names, key); };
        if (selector.fits(port.name, port.name, values)) result.push_back(port);
    }
    return result;
}

std::vector<std::uint32_t> selected(const CGroupsDB& directory, const Selector& selector) {
    const DirectoryPaths names(directory);
    std::vector<std::uint32_t> result;
    for (const auto& [id, node] : names.nodes()) {
        if (node->type != NODE_PRINTER) continue;
        const auto& printer = static_cast<const CGroupsDBPrinter&>(*node);
        const auto values = [&](std::string_view key) { return valuesOf(printer, key); };
        if (selector.fits(printer.name, names.pathOf(id), values)) result.push_back(id);
    }
    return result;
}

}  // namespace velmora::ctl
