#include "velmoractl/verbs/fleet_files.h"

#include <windows.h>

#include <algorithm>

#include "velmoractl/text/configuration_file.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/safe_file.h"

namespace velmora::ctl {
namespace {

std::ptrdiff_t inputs(const FleetFiles& files) {
    return std::ranges::count(files.files, "-") + std::ranges::count(files.tables, "-");
}

}  // namespace

bool FleetFiles::readsInput() const {
    return inputs(*this) > 0;
}

std::string fileWords(const std::string& file) {
    return file == "-" ? "the standard input" : quotedPath(file);
}

std::string fileWords(const FleetFiles& files) {
    std::string text;
    for (const auto* list : {&files.files, &files.tables}) {
        for (const std::string& file : *list)
            text += (text.empty() ? "" : ", ") + fileWords(file);
    }
    return text;
}

void checkFiles(const FleetFiles& files, const std::string& what) {
    if (files.empty()) {
        throw CommandError(ExitCode::usage, "the command line", "no file is named",
                           "give a file, or --csv FILE");
    }
    if (inputs(files) > 1) {
        throw CommandError(ExitCode::usage, what, "the standard input is named twice",
                           "it can be read once");
    }
}

Configuration readFiles(const FleetFiles& files, const CGroupsDB& directory,
                        const std::string& what, const std::string& remedy) {
    std::vector<FileText> texts;
    for (const std::string& name : files.files)
        texts.push_back({fileWords(name), readWholeFile(name, what), false});
    for (const std::string& name : files.tables)
        texts.push_back({fileWords(name), readWholeFile(name, what), true});
    try {
        return readConfiguration(texts, directory, systemCodec());
    } catch (const FileError& error) {
        throw CommandError(ExitCode::usage, what, error.what(), remedy, "bad-file");
    }
}

}  // namespace velmora::ctl
