#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "velmoractl/text/json.h"

namespace velmora::ctl {

/// The difference in one field; texts as they are stored, a password only as "another".
struct Difference {
    std::string key;
    Json before, after;  ///< null: absent
};

/// A line such as: media: "A4" -> "Letter". UTF-8, safe to show.
std::string inWords(const Difference& difference);

/// The change of one object. Texts are UTF-8; they contain no password.
struct Change {
    enum class Kind { add, change, remove };
    Kind kind;
    const char* thing;  ///< "port", "group", "printer", "pattern", or "patterns" (all of them)
    std::string name;   ///< a port's name, a path, or empty
    std::vector<Difference> details;
};

/// A line such as: add port "Office". Safe to show.
std::string inWords(const Change& change);
const char* keywordOf(Change::Kind kind);

/// The changes that are planned or made, as verbs show them.
struct ChangeList {
    std::vector<Change> changes;
    std::vector<std::string> warnings;  ///< UTF-8, safe to show
};

}  // namespace velmora::ctl
