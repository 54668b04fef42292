#include <map>
#include <optional>
#include <set>

#include "directory/groups_db.h"
#include "port/port_config.h"
#include "velmoractl/text/configuration_values.h"
#include "velmoractl/text/configuration_versions.h"
#include "velmoractl/text/directory_paths.h"
#include "velmoractl/text/shown_text.h"

namespace velmora::ctl {
namespace {

constexpr std::size_t kLongestName = 255;

/// "templates", each above the one that it names, and "defaults" below all of them.
class Templates {
  public:
    explicit Templates(std::vector<std::string>& warnings) : warnings_(warnings) {}

    void addDefaults(const ObjectReader& reader) {
        if (hasDefaults_) reader.fail("is there twice");
        hasDefaults_ = true;
        reader.allow({"job-template"});
        if (reader.has("job-template")) {
            readTemplate(reader.child("job-template"), defaults_, warnings_);
        }
    }

    void add(const std::string& name, const ObjectReader& reader) {
        reader.allow({"template", "job-template"});
        Entry entry{reader.place(), reader.text("template", ""), nullptr};
        if (reader.has("job-template")) {
            // Read here, so that errors in a template that nothing uses are reported, too.
            JobTemplate trial;
            readTemplate(reader.child("job-template"), trial, warnings_);
            entry.attributes = &reader.json().at("job-template");
        }
        if (!entries_.emplace(name, std::move(entry)).second) reader.fail("is there twice");
    }

    /// Every template names one that exists, and none leads back to itself.
    void check(const TextCodec& codec) {
        for (const auto& [name, entry] : entries_)
            find(name, entry.place, codec);
    }

    /// The template of that name with all that is below it; the defaults for an empty name.
    const JobTemplate& find(const std::string& name, const std::string& place,
                            const TextCodec& codec) {
        std::vector<std::string> way;  // from the one that is asked for downwards
        std::set<std::string> passed;
        std::string next = name;
        while (!next.empty() && !complete_.contains(next)) {
            const std::string& from = way.empty() ? place : entries_.at(way.back()).place;
            const auto found = entries_.find(next);
            if (found == entries_.end()) {
                throw FileError(from + " names the template " + inQuotes(codec.toUtf8(next)) +
                                ", which is not in the file");
            }
            if (!passed.insert(next).second) {
                throw FileError(from +
                                " leads back to itself: templates must not name each "
                                "other in a circle");
            }
            way.push_back(next);
            next = found->second.base;
        }
        const JobTemplate* below = next.empty() ? &defaults_ : &complete_.at(next);
        for (auto step = way.rbegin(); step != way.rend(); ++step) {
            const Entry& entry = entries_.at(*step);
            JobTemplate job = *below;
            std::vector<std::string> told;  // when it was added
            if (entry.attributes != nullptr) {
                readTemplate({*entry.attributes, entry.place, codec}, job, told);
            }
            below = &complete_.emplace(*step, std::move(job)).first->second;
        }
        return *below;
    }

  private:
    struct Entry {
        std::string place;
        std::string base;
        const Json* attributes;
    };

    std::vector<std::string>& warnings_;
    bool hasDefaults_ = false;
    JobTemplate defaults_;
    std::map<std::string, Entry> entries_;
    std::map<std::string, JobTemplate> complete_;
};

/// "groups": paths with what is in them, from all files into one tree.
class Groups {
  public:
    Groups(CGroupsDB& directory, Configuration& result) : directory_(directory), result_(result) {}

    void add(const ObjectReader& groups, std::uint32_t parent) {
        for (const auto& [path, json] : groups.json().items()) {
            const ObjectReader reader(json, groups.place() + " " + inQuotes(path), groups.codec());
            reader.allow({"printers", "groups"});
            const std::uint32_t group = enter(reader, groups.storedName(path), parent);
            if (reader.has("printers")) {
                const ObjectReader printers = reader.child("printers");
                for (const auto& [name, printer] : printers.json().items()) {
                    addPrinter(
                        {printer, reader.place() + ", printer " + inQuotes(name), reader.codec()},
                        printers.storedName(name), group);
                }
            }
            if (reader.has("groups")) add(reader.child("groups"), group);
        }
    }

  private:
    void checkName(const ObjectReader& reader, const std::string& name) const {
        if (name.empty()) reader.fail("has an empty name");
        if (name.size() > kLongestName) reader.fail("has a name that is longer than 255 bytes");
    }

    /// The group of that path; those that are missing are made.
    std::uint32_t enter(const ObjectReader& reader, const std::string& path, std::uint32_t group) {
        if (path == "/") {
            if (group != kRootGroup) reader.fail("is not at the top");
            return group;
        }
        for (std::size_t begin = path.starts_with('/') ? 1 : 0; begin <= path.size();) {
            const std::size_t end = std::min(path.find('/', begin), path.size());
            const std::string name = path.substr(begin, end - begin);
            begin = end + 1;
            checkName(reader, name);
            if (name.starts_with('#')) reader.fail("has a name that begins with #");
            const auto [known, added] = nodes_.try_emplace({group, name}, nullptr);
            if (added) known->second = directory_.AddGroup(name, group);
            if (known->second->type != NODE_GROUP) reader.fail("is a printer, too");
            group = known->second->id;
        }
        return group;
    }

    void addPrinter(const ObjectReader& reader, const std::string& name, std::uint32_t group) {
        reader.allow({"url", "user", "password"});
        checkName(reader, name);
        const auto [known, added] = nodes_.try_emplace({group, name}, nullptr);
        if (!added) {
            reader.fail(known->second->type == NODE_PRINTER ? "is there twice" : "is a group, too");
        }
        const FileCredentials credentials = readCredentials(reader);
        known->second = directory_.AddPrinter(name,
                                              {readUrl(reader, nullptr), credentials.authentication,
                                               credentials.user, credentials.password},
                                              group);
        if (credentials.passwordMissing) result_.nodesWithoutPassword.insert(known->second->id);
    }

    CGroupsDB& directory_;
    Configuration& result_;
    std::map<std::pair<std::uint32_t, std::string>, CGroupsDBNode*> nodes_;
};

/// The root is always there, with the name that it has.
CGroupsDB emptyDirectory(const CGroupsDB* current) {
    CGroupsDB directory;
    auto root = std::make_unique<CGroupsDBGroup>();
    root->id = kRootGroup;
    const CGroupsDBGroup* const stored =
        current == nullptr ? nullptr : current->FindGroup(kRootGroup);
    root->name = stored == nullptr ? "All groups" : stored->name;
    directory.Insert(std::move(root));
    return directory;
}

/// `names`: null if there is no directory to look the group up in; its number is 0 then.
std::uint32_t groupOf(const ObjectReader& reader, const Json& value, const DirectoryPaths* names) {
    if (!value.is_string()) reader.fail("\"groups\" must be paths in quotes");
    const std::string path = reader.stored(value, "groups");
    if (names == nullptr) return 0;
    const CGroupsDBNode* const node = names->find(path);
    if (node == nullptr || node->type != NODE_GROUP) {
        reader.fail("names the group " + reader.quoted(path) +
                    ", which the printer directory lacks; " + std::string(kCaseRule));
    }
    return node->id;
}

PortConfig readPort(const ObjectReader& reader, const DirectoryPaths* names, Templates& templates,
                    Configuration& result) {
    reader.allow({"name", "url", "groups", "user", "password", "template", "job-template"});
    PortConfig port;
    port.name = reader.text("name");
    if (port.name.empty()) reader.fail("has an empty name");
    if (reader.has("url") == reader.has("groups")) {
        reader.fail("needs a \"url\" for one printer, or \"groups\" for many");
    }
    port.singleTarget = reader.has("url") ? 1 : 0;
    if (port.singleTarget) {
        port.printer.url = readUrl(reader, nullptr);
        const FileCredentials credentials = readCredentials(reader);
        port.printer.useAuthentication = credentials.authentication ? 1 : 0;
        port.printer.userName = credentials.user;
        port.printer.password = credentials.password;
        if (credentials.passwordMissing) result.portsWithoutPassword.insert(port.name);
        if (reader.has("password") && !reader.has("user")) {
            reader.fail("has a \"password\" without a \"user\"");
        }
    } else {
        if (reader.has("user") || reader.has("password")) {
            reader.fail("prints to groups: \"user\" and \"password\" are those of their printers");
        }
        std::set<std::uint32_t> seen;
        for (const Json& group : reader.list("groups")) {
            const std::uint32_t id = groupOf(reader, group, names);
            if (seen.insert(id).second) port.targetIds.push_back(id);
        }
    }
    port.jobTemplate = templates.find(reader.text("template", ""), reader.place(), reader.codec());
    if (reader.has("job-template")) {
        readTemplate(reader.child("job-template"), port.jobTemplate, result.warnings);
    }
    return port;
}

QueueDescription readQueue(const ObjectReader& reader) {
    reader.allow({"name", "port", "driver", "share", "location", "comment"});
    QueueDescription queue{reader.text("name"),         reader.text("port"),
                           reader.text("driver"),       reader.text("share", ""),
                           reader.text("location", ""), reader.text("comment", "")};
    if (queue.name.empty()) reader.fail("has an empty name");
    if (queue.port.empty()) reader.fail("has an empty \"port\"");
    if (queue.driver.empty()) reader.fail("has an empty \"driver\"");
    // Windows separates the parts of a printer's name and of a command to the spooler by these.
    if (queue.name.find_first_of("\\,!") != std::string::npos) {
        reader.fail("has a name with a backslash, a comma or an exclamation mark");
    }
    if (queue.share.find_first_of("\\/,") != std::string::npos) {
        reader.fail("has a \"share\" with a slash, a backslash or a comma");
    }
    return queue;
}

std::string placeIn(const DescriptionPart& part, const std::string& place) {
    return part.name.empty() ? place : part.name + ", " + place;
}

/// Calls `body` with each object of a list, and its place.
template <class Body>
void forEach(const DescriptionPart& part, const char* key, const char* thing,
             const std::vector<std::size_t>& lines, const TextCodec& codec, Body&& body) {
    const ObjectReader reader(part.json, placeIn(part, "the file"), codec);
    if (!reader.has(key)) return;
    std::size_t index = 0;
    for (const Json& json : reader.list(key)) {
        const std::string place = lines.empty() ? thing + (" " + std::to_string(index + 1))
                                                : "line " + std::to_string(lines[index]);
        ++index;
        body(ObjectReader(json, placeIn(part, place), codec));
    }
}

void checkNew(std::set<std::string>& taken, const std::string& name, const ObjectReader& reader) {
    if (taken.insert(folded(name)).second) return;
    reader.fail("has a name that an earlier one has; " + std::string(kCaseRule));
}

}  // namespace

Configuration readVersion2(std::span<const DescriptionPart> parts, const CGroupsDB* current,
                           const TextCodec& codec) {
    Configuration result;
    result.isDescription = true;
    Templates templates(result.warnings);
    CGroupsDB directory = emptyDirectory(current);
    Groups groups(directory, result);
    bool hasGroups = false;
    for (const DescriptionPart& part : parts) {
        const ObjectReader reader(part.json, placeIn(part, "the file"), codec);
        reader.allow({"format", "version", "defaults", "templates", "groups", "ports", "queues"});
        result.hasPorts |= reader.has("ports");
        result.hasQueues |= reader.has("queues");
        hasGroups |= reader.has("groups");
        if (reader.has("defaults")) {
            templates.addDefaults({reader.at("defaults"), placeIn(part, "defaults"), codec});
        }
        if (reader.has("templates")) {
            const ObjectReader list(reader.at("templates"), placeIn(part, "templates"), codec);
            for (const auto& [name, json] : list.json().items()) {
                const ObjectReader item(json, placeIn(part, "template " + inQuotes(name)), codec);
                if (name.empty()) item.fail("has an empty name");
                templates.add(list.storedName(name), item);
            }
        }
        if (reader.has("groups")) {
            groups.add({reader.at("groups"), placeIn(part, "groups"), codec}, kRootGroup);
        }
    }
    templates.check(codec);
    std::optional<DirectoryPaths> names;
    if (hasGroups || current != nullptr) names.emplace(hasGroups ? directory : *current);
    std::set<std::string> ports, queues;
    for (const DescriptionPart& part : parts) {
        forEach(part, "ports", "port", part.lines, codec, [&](const ObjectReader& reader) {
            PortConfig port = readPort(reader, names ? &*names : nullptr, templates, result);
            checkNew(ports, port.name, reader);
            result.ports.push_back(std::move(port));
        });
        forEach(part, "queues", "queue", part.queueLines, codec, [&](const ObjectReader& reader) {
            QueueDescription queue = readQueue(reader);
            checkNew(queues, queue.name, reader);
            result.queues.push_back(std::move(queue));
        });
    }
    if (hasGroups) result.directory = std::make_unique<CGroupsDB>(std::move(directory));
    return result;
}

}  // namespace velmora::ctl
