#pragma once

#include <memory>

#include "directory/groups_db.h"

namespace velmora::testing {

/// A printer directory that holds the root group alone.
inline CGroupsDB emptyDirectory() {
    CGroupsDB directory;
    auto root = std::make_unique<CGroupsDBGroup>();
    root->id = kRootGroup;
    root->name = "All groups";
    directory.Insert(std::move(root));
    return directory;
}

}  // namespace velmora::testing
