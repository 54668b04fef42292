#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <set>
#include <string>
#include <vector>

#include "harness/flat_bytes_model.h"

namespace velmora::testing {

/// A record of the directory, all fields. A port printer's id, parent and type are 0.
struct NodeFields {
    std::uint32_t id = 0;
    std::uint32_t parent = 0;
    std::uint32_t type = 0;  ///< 0: a group, 1: a printer
    std::string name;
    std::string uri;
    int hasAuth = 0;
    std::string userName;
    std::string password;

    bool operator==(const NodeFields&) const = default;
};

/// A second implementation of the printer directory for tests to compare with: a flat table that
/// every rule scans, written for clarity and not for speed. It includes nothing of the product.
/// Operations end in damaged trees too (a parent that is missing, or that is below its own child):
/// a record counts once.
class ModelDirectory {
  public:
    using Ids = std::vector<std::uint32_t>;

    std::vector<NodeFields> rows;          ///< by ascending id
    std::vector<NodeFields> portPrinters;  ///< by ascending name, byte by byte
    std::uint32_t nextId = 2;

    bool operator==(const ModelDirectory&) const = default;

    NodeFields* find(std::uint32_t id) {
        for (NodeFields& row : rows)
            if (row.id == id) return &row;
        return nullptr;
    }

    Ids children(std::uint32_t parent) const {
        Ids ids;
        for (const NodeFields& row : rows)
            if (row.parent == parent) ids.push_back(row.id);
        return ids;
    }

    Ids groups() const {
        Ids ids;
        for (const NodeFields& row : rows)
            if (row.type == 0) ids.push_back(row.id);
        return ids;
    }

    /// Enters it under its id, in place of the record that has that id.
    void enter(const NodeFields& row) {
        std::erase_if(rows, [&](const NodeFields& other) { return other.id == row.id; });
        const auto after = std::find_if(rows.begin(), rows.end(),
                                        [&](const NodeFields& other) { return other.id > row.id; });
        rows.insert(after, row);
    }

    /// Enters it as a store or a payload does.
    void load(const NodeFields& row) {
        reserve(row.id);
        enter(row);
    }

    /// Takes the next id: ids wrap at 2^32 and skip those in use.
    std::uint32_t add(NodeFields row) {
        while (find(nextId) != nullptr)
            ++nextId;
        row.id = nextId++;
        enter(row);
        return row.id;
    }

    void enterPortPrinter(const NodeFields& row) {
        removePortPrinter(row.name);
        const auto after =
            std::find_if(portPrinters.begin(), portPrinters.end(),
                         [&](const NodeFields& other) { return other.name > row.name; });
        portPrinters.insert(after, row);
    }

    void removePortPrinter(const std::string& name) {
        std::erase_if(portPrinters, [&](const NodeFields& row) { return row.name == name; });
    }

    void update(const NodeFields& printer) {
        NodeFields* const row = find(printer.id);
        if (row == nullptr || row->type != 1) return;
        const std::uint32_t parent = row->parent;
        *row = printer;
        row->parent = parent;
        row->type = 1;
    }

    /// The printers below a group; none if the id is not a group's.
    void collect(std::uint32_t group, Ids& list) {
        const NodeFields* const row = find(group);
        if (row == nullptr || row->type != 0) return;
        std::set<std::uint32_t> entered;
        collectBelow(group, list, entered);
    }

    bool canPlace(std::uint32_t node, std::uint32_t target) {
        for (const std::uint32_t child : children(target))
            if (find(child)->name == find(node)->name) return false;
        std::set<std::uint32_t> passed;
        for (const NodeFields* at = find(target); at != nullptr; at = find(at->parent)) {
            if (at->id == node) return false;
            if (at->parent == 0 || !passed.insert(at->id).second) break;
        }
        return true;
    }

    /// Returns the id of the copy of the node.
    std::uint32_t copy(std::uint32_t node, std::uint32_t target) {
        ModelDirectory before = *this;
        std::set<std::uint32_t> queued{node};
        std::deque<std::uint32_t> sources{node};
        std::deque<std::uint32_t> parents{target};
        std::uint32_t top = 0;
        while (!sources.empty()) {
            const std::uint32_t source = sources.front();
            NodeFields row = *before.find(source);
            row.parent = parents.front();
            sources.pop_front();
            parents.pop_front();
            const std::uint32_t id = add(row);
            if (source == node) top = id;
            if (row.type != 0) continue;
            for (const std::uint32_t child : before.children(source)) {
                if (!queued.insert(child).second) continue;
                sources.push_back(child);
                parents.push_back(id);
            }
        }
        return top;
    }

    void remove(std::uint32_t id) {
        std::set<std::uint32_t> doomed{id};
        for (bool grown = true; grown;) {
            grown = false;
            for (const NodeFields& row : rows)
                if (!doomed.contains(row.id) && doomed.contains(row.parent))
                    grown = doomed.insert(row.id).second;
        }
        std::erase_if(rows, [&](const NodeFields& row) { return doomed.contains(row.id); });
    }

    /// The transfer form.
    FlatBytes written() const {
        FlatBytes out;
        putNumber(out, static_cast<std::uint32_t>(rows.size()));
        for (const NodeFields& row : rows) {
            putNumber(out, row.id);
            putNumber(out, row.parent);
            putText(out, row.name);
            putNumber(out, row.type);
            if (row.type == 1) putAddress(out, row);
        }
        putNumber(out, static_cast<std::uint32_t>(portPrinters.size()));
        for (const NodeFields& row : portPrinters) {
            putText(out, row.name);
            putAddress(out, row);
        }
        return out;
    }

    /// Replaces everything. False, with nothing changed, if the bytes end too early; bytes after
    /// the last entry are ignored.
    bool read(const FlatBytes& bytes) {
        FlatReader in(bytes);
        ModelDirectory read;
        const std::uint32_t nodeCount = in.number();
        for (std::uint32_t i = 0; i < nodeCount && !in.ended; ++i) {
            NodeFields row;
            row.id = in.number();
            row.parent = in.number();
            row.name = in.text();
            row.type = in.number();
            if (row.type == 1) readAddress(in, row);
            if (in.ended) break;
            // A record that is neither group nor printer is dropped, but its id counts as used.
            read.reserve(row.id);
            if (row.type <= 1) read.enter(row);
        }
        const std::uint32_t portCount = in.number();
        for (std::uint32_t i = 0; i < portCount && !in.ended; ++i) {
            NodeFields row;
            row.name = in.text();
            readAddress(in, row);
            read.enterPortPrinter(row);
        }
        if (in.ended) return false;
        *this = read;
        return true;
    }

  private:
    void reserve(std::uint32_t id) {
        if (id >= nextId) nextId = id + 1;
    }

    void collectBelow(std::uint32_t group, Ids& list, std::set<std::uint32_t>& entered) {
        if (!entered.insert(group).second) return;
        for (const std::uint32_t id : children(group)) {
            if (find(id)->type == 0) {
                collectBelow(id, list, entered);
            } else if (std::find(list.begin(), list.end(), id) == list.end()) {
                list.push_back(id);
            }
        }
    }

    static void putAddress(FlatBytes& out, const NodeFields& row) {
        putText(out, row.uri);
        putByte(out, row.hasAuth != 0 ? 1 : 0);
        putText(out, row.userName);
        putText(out, row.password);
    }

    static void readAddress(FlatReader& in, NodeFields& row) {
        row.uri = in.text();
        row.hasAuth = in.byte() != 0 ? 1 : 0;
        row.userName = in.text();
        row.password = in.text();
    }
};

}  // namespace velmora::testing
