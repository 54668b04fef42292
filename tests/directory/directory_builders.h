#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "directory/groups_db.h"
#include "harness/directory_check.h"

namespace velmora::testing {

inline std::unique_ptr<CGroupsDBGroup> group(std::uint32_t id, std::uint32_t parent,
                                             const std::string& name) {
    auto node = std::make_unique<CGroupsDBGroup>();
    node->id = id;
    node->parent = parent;
    node->name = name;
    return node;
}

inline std::unique_ptr<CGroupsDBPrinter> printer(
    std::uint32_t id, std::uint32_t parent, const std::string& name, const std::string& uri = "",
    std::uint8_t hasAuth = 0, const std::string& userName = "", const std::string& password = "") {
    auto node = std::make_unique<CGroupsDBPrinter>();
    node->id = id;
    node->parent = parent;
    node->name = name;
    node->address = {uri, hasAuth, userName, password};
    return node;
}

inline void PrintTo(const NodeFields& node, std::ostream* stream) {
    *stream << "{" << node.id << " below " << node.parent << ", type " << node.type << ", '"
            << node.name << "', '" << node.uri << "', " << node.hasAuth << ", '" << node.userName
            << "', '" << node.password << "'}";
}

inline std::vector<NodeFields> nodesOf(const CGroupsDB& directory) {
    std::vector<NodeFields> nodes;
    for (const auto& [id, node] : directory.nodes()) {
        EXPECT_EQ(id, node->id);
        nodes.push_back(fieldsOf(*node));
    }
    return nodes;
}

/// Sorted by name; a port printer's id, parent and type mean nothing.
inline std::vector<NodeFields> portPrintersOf(const CGroupsDB& directory) {
    std::vector<NodeFields> printers;
    for (const auto& [name, printer] : directory.portPrinters()) {
        EXPECT_EQ(name, printer->name);
        printers.push_back(fieldsOf(*printer));
        printers.back().id = printers.back().parent = printers.back().type = 0;
    }
    return printers;
}

template <class Node>
std::vector<std::uint32_t> idsOf(const std::vector<Node*>& list) {
    std::vector<std::uint32_t> ids;
    for (const Node* node : list)
        ids.push_back(node->id);
    return ids;
}

inline std::vector<std::uint32_t> idsOf(const CGroupsDB& directory) {
    std::vector<std::uint32_t> ids;
    for (const auto& [id, node] : directory.nodes())
        ids.push_back(id);
    return ids;
}

inline std::vector<std::uint32_t> childrenOf(const CGroupsDB& directory, std::uint32_t parent) {
    std::vector<CGroupsDBNode*> list;
    directory.GetChildren(parent, list);
    return idsOf(list);
}

/// The printers that a port prints to whose targets are `groups`, in that order.
inline std::vector<std::uint32_t> collect(const CGroupsDB& directory,
                                          const std::vector<std::uint32_t>& groups) {
    std::vector<CGroupsDBPrinter*> list;
    for (const std::uint32_t group : groups)
        directory.CollectPrinters(group, list);
    return idsOf(list);
}

}  // namespace velmora::testing
