#include <algorithm>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>

#include "port/url_text.h"
#include "velmoractl/text/configuration_file.h"
#include "velmoractl/text/directory_paths.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/text/template_attributes.h"

namespace velmora::ctl {
namespace {

/// One object of the file, with its place for messages. Unknown keys are errors: a misspelled one
/// would silently leave a default in fifty ports.
class Reader {
  public:
    Reader(const Json& json, std::string place, const TextCodec& codec)
        : json_(json), place_(std::move(place)), codec_(codec) {
        if (!json_.is_object()) fail("must be an object in braces");
    }

    [[noreturn]] void fail(const std::string& why) const { throw FileError(place_ + " " + why); }

    void allow(std::initializer_list<const char*> keys) const {
        for (const auto& [key, value] : json_.items()) {
            if (std::ranges::find(keys, key) != keys.end()) continue;
            std::string known;
            for (const char* name : keys)
                known += (known.empty() ? "" : ", ") + std::string(name);
            fail("has the unknown key " + inQuotes(key) + " (known: " + known + ")");
        }
    }

    bool has(const char* key) const { return json_.contains(key); }
    const Json& at(const char* key) const {
        if (!has(key)) fail("lacks " + inQuotes(key));
        return json_.at(key);
    }

    std::string text(const char* key) const { return stored(at(key), key); }
    std::string text(const char* key, const char* fallback) const {
        return has(key) ? text(key) : fallback;
    }
    bool flag(const char* key, bool fallback) const {
        if (!has(key)) return fallback;
        if (!json_.at(key).is_boolean()) fail(inQuotes(key) + " must be true or false");
        return json_.at(key).get<bool>();
    }
    std::uint32_t number(const char* key) const { return number(at(key), key); }
    std::uint32_t number(const Json& value, const char* key) const {
        if (!value.is_number_unsigned() ||
            value.get<std::uint64_t>() > std::numeric_limits<std::uint32_t>::max()) {
            fail(inQuotes(key) + " must be a number from 0 to 4294967295");
        }
        return value.get<std::uint32_t>();
    }
    const Json& list(const char* key) const {
        if (!at(key).is_array()) fail(inQuotes(key) + " must be a list in brackets");
        return at(key);
    }
    Reader child(const char* key) const { return {at(key), place_ + ", " + key, codec_}; }
    Reader item(const Json& json, const char* what, std::size_t index) const {
        return {json, std::string(what) + " " + std::to_string(index + 1), codec_};
    }

    /// A text as it will be stored: in the code page, without a NUL, which would end it.
    std::string stored(const Json& value, const char* key) const {
        if (!value.is_string()) fail(inQuotes(key) + " must be a text in quotes");
        const auto utf8 = value.get<std::string>();
        if (utf8.find('\0') != std::string::npos) fail(inQuotes(key) + " holds a NUL character");
        std::optional<std::string> ansi = codec_.fromUtf8(utf8);
        if (!ansi) fail(inQuotes(key) + " has characters that this system's code page lacks");
        return *ansi;
    }
    const Json& json() const { return json_; }
    const std::string& place() const { return place_; }
    const TextCodec& codec() const { return codec_; }

  private:
    const Json& json_;
    std::string place_;
    const TextCodec& codec_;
};

struct Credentials {
    bool authentication;
    std::string user, password;
    bool passwordMissing;
};

Credentials readCredentials(const Reader& reader) {
    Credentials result{reader.flag("authentication", reader.has("user")), reader.text("user", ""),
                       reader.text("password", ""), false};
    result.passwordMissing = result.authentication && !reader.has("password");
    return result;
}

/// Where a URL with a password in it would be shown, nobody expects one.
std::string readUrl(const Reader& reader, const char* fallback) {
    std::string url = fallback == nullptr ? reader.text("url") : reader.text("url", fallback);
    if (hasUserInfo(url)) {
        reader.fail("has a \"url\" with a user name in it; use the keys \"user\" and \"password\"");
    }
    return url;
}

void readTemplate(const Reader& reader, JobTemplate& job, Configuration& result) {
    for (const auto& [key, value] : reader.json().items()) {
        const TemplateAttribute* const attribute = findTemplateAttribute(key);
        if (attribute == nullptr) reader.fail("has the unknown attribute " + inQuotes(key));
        // 3 and true may be written without quotes.
        const bool plain = value.is_number_unsigned() || value.is_boolean();
        const std::string text = plain ? value.dump() : reader.stored(value, attribute->name);
        if (attribute->set(job, text)) continue;
        if (attribute->force != nullptr && attribute->force(job, text)) {
            result.warnings.push_back(reader.place() + ": " + inQuotes(key) + " is " +
                                      inQuotes(reader.codec().toUtf8(text)) +
                                      ", which only some printers know");
        } else {
            reader.fail(inQuotes(key) + " cannot be " + inQuotes(reader.codec().toUtf8(text)) +
                        "; allowed: " + attribute->allowed());
        }
    }
}

/// `names`: null if there is no directory to look the group up in; its number is 0 then.
std::uint32_t readGroup(const Reader& reader, const Json& value, const DirectoryPaths* names) {
    const bool byNumber = value.is_number();
    const std::string path = byNumber ? "#" + std::to_string(reader.number(value, "groups"))
                                      : reader.stored(value, "groups");
    if (names == nullptr) return 0;
    const CGroupsDBNode* const node = names->find(path);
    if (node == nullptr || node->type != NODE_GROUP) {
        reader.fail("names the group " + inQuotes(reader.codec().toUtf8(path)) +
                    ", which the printer directory lacks; " + std::string(kCaseRule));
    }
    return node->id;
}

PortConfig readPort(const Reader& reader, const DirectoryPaths* names, Configuration& result) {
    reader.allow(
        {"name", "mode", "url", "authentication", "user", "password", "groups", "job-template"});
    PortConfig port;
    port.name = reader.text("name");
    if (port.name.empty()) reader.fail("has an empty name");
    const std::string mode = reader.text("mode", reader.has("url") ? "single-printer" : "");
    if (mode != "single-printer" && mode != "multi-remote") {
        reader.fail("needs a \"url\", or a \"mode\": single-printer or multi-remote");
    }
    port.singleTarget = mode == "single-printer" ? 1 : 0;
    port.printer.url = readUrl(reader, "");
    if (port.singleTarget && port.printer.url.empty()) {
        reader.fail("is a single-printer port without a \"url\"");
    }
    const Credentials credentials = readCredentials(reader);
    port.printer.useAuthentication = credentials.authentication ? 1 : 0;
    port.printer.userName = credentials.user;
    port.printer.password = credentials.password;
    if (credentials.passwordMissing) result.portsWithoutPassword.insert(port.name);
    if (reader.has("groups")) {
        for (const Json& group : reader.list("groups")) {
            port.targetIds.push_back(readGroup(reader, group, names));
        }
    }
    if (reader.has("job-template")) {
        readTemplate(reader.child("job-template"), port.jobTemplate, result);
    }
    return port;
}

std::unique_ptr<CGroupsDBNode> readNode(const Reader& reader, Configuration& result) {
    reader.allow({"id", "parent", "type", "name", "url", "authentication", "user", "password"});
    const std::string type = reader.text("type");
    std::unique_ptr<CGroupsDBNode> node;
    if (type == "group") {
        node = std::make_unique<CGroupsDBGroup>();
    } else if (type == "printer") {
        const Credentials credentials = readCredentials(reader);
        auto printer = std::make_unique<CGroupsDBPrinter>();
        printer->address = {readUrl(reader, nullptr), credentials.authentication, credentials.user,
                            credentials.password};
        if (credentials.passwordMissing) result.nodesWithoutPassword.insert(reader.number("id"));
        node = std::move(printer);
    } else {
        reader.fail("has a \"type\" that is neither group nor printer");
    }
    node->id = reader.number("id");
    node->parent = reader.number("parent");
    node->name = reader.text("name");
    return node;
}

/// Every node must be reached from the root: a tree that is not one is not brought in.
void checkTree(const CGroupsDB& directory) {
    if (directory.FindGroup(kRootGroup) == nullptr) {
        throw FileError("directory lacks the root group, the node with \"id\": 1");
    }
    const DirectoryPaths names(directory);
    std::set<std::uint32_t> reached = {kRootGroup};
    std::vector<std::uint32_t> groups = {kRootGroup};
    while (!groups.empty()) {
        const std::uint32_t group = groups.back();
        groups.pop_back();
        for (const CGroupsDBNode* child : names.children(group)) {
            if (!reached.insert(child->id).second) continue;
            if (child->type == NODE_GROUP) groups.push_back(child->id);
        }
    }
    for (const auto& [id, node] : directory.nodes()) {
        if (reached.contains(id)) continue;
        throw FileError("directory, node " + std::to_string(id) +
                        " does not lead to the root group by its \"parent\"");
    }
}

CGroupsDB readDirectory(const Reader& reader, Configuration& result) {
    reader.allow({"nodes", "port-printers"});
    CGroupsDB directory;
    std::size_t index = 0;
    for (const Json& json : reader.list("nodes")) {
        const Reader item = reader.item(json, "directory, node", index++);
        std::unique_ptr<CGroupsDBNode> node = readNode(item, result);
        if (directory.FindNode(node->id) != nullptr) item.fail("has an \"id\" that is taken");
        directory.Insert(std::move(node));
    }
    checkTree(directory);
    if (!reader.has("port-printers")) return directory;
    index = 0;
    for (const Json& json : reader.list("port-printers")) {
        const Reader item = reader.item(json, "directory, port printer", index++);
        item.allow({"port", "url", "authentication", "user", "password"});
        const Credentials credentials = readCredentials(item);
        auto printer = std::make_unique<CGroupsDBPrinter>();
        printer->name = item.text("port");
        printer->address = {readUrl(item, nullptr), credentials.authentication, credentials.user,
                            credentials.password};
        if (credentials.passwordMissing) result.portPrintersWithoutPassword.insert(printer->name);
        directory.InsertPortPrinter(std::move(printer));
    }
    return directory;
}

void addUtf8(std::string& text, std::uint32_t code) {
    if (code < 0x80) {
        text += static_cast<char>(code);
        return;
    }
    const int more = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    constexpr std::uint32_t kLead[] = {0, 0xC0, 0xE0, 0xF0};
    text += static_cast<char>(kLead[more] | code >> (6 * more));
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

/// Windows' editors put a byte order mark in front; PowerShell's ">" writes UTF-16.
std::string withoutMark(const std::string& text) {
    if (text.starts_with("\xEF\xBB\xBF")) return text.substr(3);
    if (text.starts_with("\xFF\xFE")) return fromUtf16(std::string_view(text).substr(2), false);
    if (text.starts_with("\xFE\xFF")) return fromUtf16(std::string_view(text).substr(2), true);
    return text;
}

Json parse(const std::string& text) {
    try {
        return Json::parse(withoutMark(text));
    } catch (const Json::exception& error) {
        throw FileError(std::string("is not valid JSON: ") + shown(error.what(), 200));
    }
}

/// Windows does not distinguish names that differ only in case.
std::string folded(std::string name) {
    for (char& c : name) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return name;
}

/// `current`: null if there is none.
Configuration readFile(const std::string& text, const CGroupsDB* current, const TextCodec& codec) {
    const Json json = parse(text);
    const Reader reader(json, "the file", codec);
    reader.allow({"format", "version", "ports", "directory"});
    if (reader.text("format") != "velmora-configuration" || reader.number("version") != 1) {
        reader.fail("is not of \"format\": \"velmora-configuration\", \"version\": 1");
    }
    Configuration result;
    if (reader.has("directory"))
        result.directory = readDirectory(reader.child("directory"), result);
    const CGroupsDB* const directory = result.directory ? &*result.directory : current;
    result.hasPorts = reader.has("ports");
    if (result.hasPorts) {
        std::optional<DirectoryPaths> names;
        if (directory != nullptr) names.emplace(*directory);
        std::set<std::string> taken;
        std::size_t index = 0;
        for (const Json& port : reader.list("ports")) {
            const Reader item = reader.item(port, "port", index++);
            PortConfig config = readPort(item, names ? &*names : nullptr, result);
            if (!taken.insert(folded(config.name)).second) {
                item.fail("has a name that an earlier one has; " + std::string(kCaseRule));
            }
            result.ports.push_back(std::move(config));
        }
    }
    return result;
}

}  // namespace

Configuration readConfiguration(const std::string& text, const CGroupsDB& current,
                                const TextCodec& codec) {
    return readFile(text, &current, codec);
}

void checkConfiguration(const std::string& text, const TextCodec& codec) {
    readFile(text, nullptr, codec);
}

}  // namespace velmora::ctl
