#pragma once

#include "directory/groups_db.h"
#include "harness/empty_directory.h"

namespace velmora::testing {

/// A small tree:
///   All groups (1)
///     Office (2)
///       Laser (3, printer with credentials)
///       Archive (4)
///         Plotter (5, printer)
///     Workshop (6)
///       Labels (7, printer)
struct SampleDirectory {
    SampleDirectory() : root(directory.FindNode(kRootGroup)) {
        office = directory.AddGroup("Office", root->id);
        laser =
            directory.AddPrinter("Laser", {"ipp://laser/p", true, "user", "secret"}, office->id);
        archive = directory.AddGroup("Archive", office->id);
        plotter =
            directory.AddPrinter("Plotter", {"http://plotter:631/p", false, "", ""}, archive->id);
        workshop = directory.AddGroup("Workshop", root->id);
        labels = directory.AddPrinter("Labels", {"https://labels/p", false, "", ""}, workshop->id);
    }

    CGroupsDB directory = emptyDirectory();
    CGroupsDBNode* root;
    CGroupsDBNode* office;
    CGroupsDBPrinter* laser;
    CGroupsDBNode* archive;
    CGroupsDBPrinter* plotter;
    CGroupsDBNode* workshop;
    CGroupsDBPrinter* labels;
};

}  // namespace velmora::testing
