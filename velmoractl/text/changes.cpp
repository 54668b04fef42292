#include "velmoractl/text/changes.h"

#include "velmoractl/text/shown_text.h"

namespace velmora::ctl {

std::string inWords(const Difference& difference) {
    const auto words = [](const Json& value) {
        return value.is_null() ? std::string("none") : shown(value.dump());
    };
    if (difference.key == "password") {
        return difference.after.is_null() ? "password: none" : "password: another";
    }
    return difference.key + ": " + words(difference.before) + " -> " + words(difference.after);
}

std::string inWords(const Change& change) {
    std::string text = std::string(keywordOf(change.kind)) + " ";
    if (change.name.empty()) return text + "the patterns of the ports' printers";
    return text + change.thing + " " + inQuotes(change.name);
}

const char* keywordOf(Change::Kind kind) {
    switch (kind) {
        case Change::Kind::add:
            return "add";
        case Change::Kind::change:
            return "change";
        case Change::Kind::remove:
            return "remove";
    }
    return "";
}

}  // namespace velmora::ctl
