#include <nlohmann/json.hpp>

#include "velmoractl/text/configuration_file.h"
#include "velmoractl/text/configuration_values.h"
#include "velmoractl/text/configuration_versions.h"
#include "velmoractl/text/ports_table.h"

namespace velmora::ctl {
namespace {

std::uint32_t versionOf(const Json& json, const TextCodec& codec) {
    const ObjectReader reader(json, "the file", codec);
    const bool known = reader.text("format") == "velmora-configuration";
    const std::uint32_t version = reader.number("version");
    if (known && (version == 1 || version == 2)) return version;
    reader.fail("is not of \"format\": \"velmora-configuration\", \"version\": 1 or 2");
}

/// Messages name the file, if there are several.
template <class Body>
auto inFile(const std::string& name, Body&& body) {
    try {
        return body();
    } catch (const FileError& error) {
        if (name.empty()) throw;
        throw FileError(name + ": " + error.what());
    }
}

Configuration readFiles(const std::vector<FileText>& files, const CGroupsDB* current,
                        const TextCodec& codec) {
    const bool several = files.size() > 1;
    std::vector<DescriptionPart> parts;
    for (const FileText& file : files) {
        const std::string name = several ? file.name : "";
        const bool alone = inFile(name, [&] {
            if (file.isTable) {
                parts.push_back(readPortsTable(file.text));
            } else {
                parts.push_back({{}, parseFile(file.text), {}, {}});
                const bool first = versionOf(parts.back().json, codec) == 1;
                if (first && several) {
                    throw FileError(
                        "is of version 1, which stands alone; \"version\": 2 can be "
                        "in several files");
                }
                if (first) return true;
            }
            parts.back().name = name;
            return false;
        });
        if (alone) return readVersion1(parts.front().json, current, codec);
    }
    return readVersion2(parts, current, codec);
}

}  // namespace

Configuration readConfiguration(const std::vector<FileText>& files, const CGroupsDB& current,
                                const TextCodec& codec) {
    return readFiles(files, &current, codec);
}

Configuration readConfiguration(const std::string& text, const CGroupsDB& current,
                                const TextCodec& codec) {
    return readFiles({{"", text, false}}, &current, codec);
}

void checkConfiguration(const std::string& text, const TextCodec& codec) {
    readFiles({{"", text, false}}, nullptr, codec);
}

}  // namespace velmora::ctl
