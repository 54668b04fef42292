#pragma once

#include <memory>
#include <string>

#include "directory/groups_db.h"

namespace velmora::testing {

/// A printer directory that holds the root group alone; its name depends on the language.
inline CGroupsDB emptyDirectory(const std::string& rootName = "All groups") {
    CGroupsDB directory;
    auto root = std::make_unique<CGroupsDBGroup>();
    root->id = kRootGroup;
    root->name = rootName;
    directory.Insert(std::move(root));
    return directory;
}

}  // namespace velmora::testing
