#pragma once

#include "directory/groups_db.h"
#include "harness/directory_model.h"

namespace velmora::testing {

inline NodeFields fieldsOf(const CGroupsDBNode& node) {
    NodeFields fields{node.id, node.parent, node.type, node.name, {}, 0, {}, {}};
    if (const auto* printer = dynamic_cast<const CGroupsDBPrinter*>(&node)) {
        fields.uri = printer->address.url;
        fields.hasAuth = printer->address.useAuthentication;
        fields.userName = printer->address.userName;
        fields.password = printer->address.password;
    }
    return fields;
}

/// The directory's contents as a model.
inline ModelDirectory modelOf(const CGroupsDB& directory) {
    ModelDirectory model;
    for (const auto& [id, node] : directory.nodes()) {
        model.rows.push_back(fieldsOf(*node));
        // The key of a record must be its id.
        if (id != node->id) model.rows.back().type = ~0u;
    }
    for (const auto& [name, printer] : directory.portPrinters()) {
        NodeFields fields = fieldsOf(*printer);
        fields.id = fields.parent = fields.type = 0;
        if (name != fields.name) fields.type = ~0u;
        model.portPrinters.push_back(fields);
    }
    model.nextId = directory.nextId();
    return model;
}

}  // namespace velmora::testing
