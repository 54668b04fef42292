#include "velmoractl/text/configuration_values.h"

#include <algorithm>
#include <limits>
#include <set>

#include "port/url_text.h"
#include "velmoractl/text/lower_case.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/text/template_attributes.h"

namespace velmora::ctl {
namespace {

// Deeper than any tree of groups that people draw; each group takes two.
constexpr int kDeepest = 256;

void addUtf8(std::string& text, std::uint32_t code) {
    if (code < 0x80) {
        text += static_cast<char>(code);
        return;
    }
    const int more = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    constexpr std::uint32_t kLead[] = {0xC0, 0xE0, 0xF0};
    text += static_cast<char>(kLead[more - 1] | code >> (6 * more));
    for (int rest = more - 1; rest >= 0; --rest)
        text += static_cast<char>(0x80 | (code >> (6 * rest) & 0x3F));
}

/// UTF-16 after its byte order mark. An unpaired surrogate becomes bytes that are not valid UTF-8,
/// which the JSON reader refuses.
std::string fromUtf16(std::string_view bytes, bool bigEndian) {
    const auto unit = [&](std::size_t at) {
        const auto first = static_cast<std::uint8_t>(bytes[at]);
        const auto second = static_cast<std::uint8_t>(bytes[at + 1]);
        return static_cast<std::uint32_t>(bigEndian ? first << 8 | second : second << 8 | first);
    };
    std::string text;
    for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
        std::uint32_t code = unit(at);
        const bool high = code >= 0xD800 && code < 0xDC00;
        if (high && at + 3 < bytes.size() && unit(at + 2) >= 0xDC00 && unit(at + 2) < 0xE000) {
            at += 2;
            code = 0x10000 + ((code - 0xD800) << 10) + (unit(at) - 0xDC00);
        }
        addUtf8(text, code);
    }
    return text;
}

}  // namespace

// Windows' editors put a byte order mark in front; PowerShell's ">" writes UTF-16.
std::string withoutMark(const std::string& text) {
    if (text.starts_with("\xEF\xBB\xBF")) return text.substr(3);
    if (text.starts_with("\xFF\xFE")) return fromUtf16(std::string_view(text).substr(2), false);
    if (text.starts_with("\xFE\xFF")) return fromUtf16(std::string_view(text).substr(2), true);
    return text;
}

Json parseFile(const std::string& text, std::size_t mostKeys) {
    std::vector<std::set<std::string>> open;  // the keys of the objects that are being read
    const auto check = [&open, mostKeys](int depth, Json::parse_event_t event, Json& value) {
        if (depth > kDeepest) {
            throw FileError("is nested deeper than " + std::to_string(kDeepest) + " levels");
        }
        if (event == Json::parse_event_t::object_start) open.emplace_back();
        if (event == Json::parse_event_t::object_end) open.pop_back();
        if (event != Json::parse_event_t::key) return true;
        const std::string& key = value.get_ref<const std::string&>();
        if (!open.back().insert(key).second) {
            throw FileError("has the key " + inQuotes(key) + " twice in one object");
        }
        if (open.back().size() > mostKeys) {
            throw FileError("has an object with more than " + std::to_string(mostKeys) + " keys");
        }
        return true;
    };
    try {
        return Json::parse(withoutMark(text), check);
    } catch (const Json::exception& error) {
        throw FileError(std::string("is not valid JSON: ") + shown(error.what()));
    }
}

std::string folded(std::string name) {
    return lowerCase(std::move(name));
}

ObjectReader::ObjectReader(const Json& json, std::string place, const TextCodec& codec)
    : json_(json), place_(std::move(place)), codec_(codec) {
    if (!json_.is_object()) fail("must be an object in braces");
}

void ObjectReader::fail(const std::string& why) const {
    throw FileError(place_ + " " + why);
}

void ObjectReader::allow(std::initializer_list<const char*> keys) const {
    for (const auto& [key, value] : json_.items()) {
        if (std::ranges::find(keys, key) != keys.end()) continue;
        std::string known;
        for (const char* name : keys)
            known += (known.empty() ? "" : ", ") + std::string(name);
        fail("has the unknown key " + inQuotes(key) + " (known: " + known + ")");
    }
}

const Json& ObjectReader::at(const char* key) const {
    if (!has(key)) fail("lacks " + inQuotes(key));
    return json_.at(key);
}

std::string ObjectReader::text(const char* key, const char* fallback) const {
    return has(key) ? text(key) : fallback;
}

bool ObjectReader::flag(const char* key, bool fallback) const {
    if (!has(key)) return fallback;
    if (!json_.at(key).is_boolean()) fail(inQuotes(key) + " must be true or false");
    return json_.at(key).get<bool>();
}

std::uint32_t ObjectReader::number(const Json& value, const char* key) const {
    if (!value.is_number_unsigned() ||
        value.get<std::uint64_t>() > std::numeric_limits<std::uint32_t>::max()) {
        fail(inQuotes(key) + " must be a number from 0 to 4294967295");
    }
    return value.get<std::uint32_t>();
}

const Json& ObjectReader::list(const char* key) const {
    if (!at(key).is_array()) fail(inQuotes(key) + " must be a list in brackets");
    return at(key);
}

std::string ObjectReader::stored(const Json& value, const std::string& key) const {
    if (!value.is_string()) fail(inQuotes(key) + " must be a text in quotes");
    const auto utf8 = value.get<std::string>();
    if (utf8.find('\0') != std::string::npos) fail(inQuotes(key) + " holds a NUL character");
    std::optional<std::string> ansi = codec_.fromUtf8(utf8);
    if (!ansi) fail(inQuotes(key) + " has characters that this system's code page lacks");
    return *ansi;
}

std::string ObjectReader::storedName(const std::string& utf8) const {
    return stored(utf8, utf8);
}

std::string ObjectReader::quoted(const std::string& ansi) const {
    return inQuotes(codec_.toUtf8(ansi));
}

FileCredentials readCredentials(const ObjectReader& reader) {
    const bool authentication = reader.flag("authentication", reader.has("user"));
    return {authentication, reader.text("user", ""), reader.text("password", ""),
            authentication && !reader.has("password")};
}

std::string readUrl(const ObjectReader& reader, const char* fallback) {
    std::string url = fallback == nullptr ? reader.text("url") : reader.text("url", fallback);
    if (hasUserInfo(url)) {
        reader.fail("has a \"url\" with a user name in it; use the keys \"user\" and \"password\"");
    }
    return url;
}

void readTemplate(const ObjectReader& reader, JobTemplate& job,
                  std::vector<std::string>& warnings) {
    for (const auto& [key, value] : reader.json().items()) {
        const TemplateAttribute* const attribute = findTemplateAttribute(key);
        if (attribute == nullptr) reader.fail("has the unknown attribute " + inQuotes(key));
        // 3 and true may be written without quotes.
        const bool plain = value.is_number_unsigned() || value.is_boolean();
        const std::string text = plain ? value.dump() : reader.stored(value, attribute->name);
        if (attribute->set(job, text)) continue;
        if (attribute->force != nullptr && attribute->force(job, text)) {
            warnings.push_back(reader.place() + ": " + inQuotes(key) + " is " +
                               inQuotes(reader.codec().toUtf8(text)) +
                               ", which only some printers know");
        } else {
            reader.fail(inQuotes(key) + " cannot be " + inQuotes(reader.codec().toUtf8(text)) +
                        "; allowed: " + attribute->allowed());
        }
    }
}

}  // namespace velmora::ctl
