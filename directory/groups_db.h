#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "directory/directory_records.h"

namespace velmora {

/// The printer directory: the tree of groups and printers (root group: id 1), and the printers of
/// single-target ports by port name. A value of one task and one thread; nothing is shared but the
/// store.
class CGroupsDB {
  public:
    /// An empty directory without a store (Load and Save do nothing): the interface fills one from
    /// the Xcv channel.
    CGroupsDB() = default;
    /// Reads `store` at once; the store must outlive the directory.
    explicit CGroupsDB(GroupsStore& store);

    const DirectoryNodes& nodes() const noexcept { return nodes_; }
    const PortPrinters& portPrinters() const noexcept { return portPrinters_; }
    std::uint32_t nextId() const noexcept { return nextId_; }

    void Clear();
    void Load();
    void Save() const;

    /// Enters a record under its id, replacing the one that is there, and moves `nextId` past it
    /// (wrapping at 2^32). For stores and readers of the transfer format.
    void Insert(std::unique_ptr<CGroupsDBNode> node);
    /// Moves `nextId` past `id` if it is not yet.
    void ReserveId(std::uint32_t id) noexcept;
    /// Enters a port's printer under its name, replacing the one that is there.
    void InsertPortPrinter(std::unique_ptr<CGroupsDBPrinter> printer);

    /// Whether both hold the same records. User names and passwords that no authentication uses do
    /// not count: stores do not keep them.
    bool operator==(const CGroupsDB& other) const;

    void SetPortPrinter(const std::string& portName, const PrinterAddress& address);
    void RemovePortPrinter(const std::string& portName);

    /// A new record takes `nextId`. Any parent is accepted.
    CGroupsDBGroup* AddGroup(const std::string& name, std::uint32_t parent);
    CGroupsDBPrinter* AddPrinter(const std::string& name, const PrinterAddress& address,
                                 std::uint32_t parent);

    CGroupsDBNode* FindNode(std::uint32_t id) const;
    CGroupsDBGroup* FindGroup(std::uint32_t id) const;
    CGroupsDBPrinter* FindPrinter(std::uint32_t id) const;

    // The lists below are appended to, in ascending id; the records stay the directory's.
    void GetChildren(std::uint32_t parent, std::vector<CGroupsDBNode*>& list) const;
    void GetGroups(std::vector<CGroupsDBGroup*>& list) const;
    /// The printers below a group, depth first; a printer that is already in the list is left out.
    /// An id that is not a group's adds nothing.
    void CollectPrinters(std::uint32_t group, std::vector<CGroupsDBPrinter*>& list) const;
    /// The same for many groups, in their order, into an empty list: the tree is walked once.
    std::vector<CGroupsDBPrinter*> CollectPrinters(std::span<const std::uint32_t> groups) const;

    void RenameNode(std::uint32_t id, const std::string& name);
    /// Copies name and address onto the stored printer of that id; id and parent stay.
    void UpdatePrinter(const CGroupsDBPrinter& printer);
    /// Whether `node` may be moved or copied into `target`: no child of that name there yet, and
    /// not into itself or anything below itself. A parent that does not exist, or that has been
    /// passed before, ends the search upwards from the target.
    bool CanPlace(const CGroupsDBNode& node, std::uint32_t target) const;
    /// Copies a node and everything below it into `target` and returns the copy of the node. New
    /// ids go out breadth first. Meant for pairs that CanPlace accepts; what is copied is what
    /// was below the node at the call, so copying any other pair ends too.
    CGroupsDBNode* CopySubtree(const CGroupsDBNode& node, std::uint32_t target);
    /// Deletes a node and everything below it; the root is not protected.
    void DeleteNode(std::uint32_t id);

    // The transfer form (Xcv commands "GetGroupsDB" and "SetGroupsDB"), see groups_transfer.cpp.
    std::size_t GetSize() const noexcept;
    /// Writes exactly GetSize() bytes.
    void Serialize(std::byte* buffer) const noexcept;
    /// Replaces the whole contents. False, with the directory unchanged, when the payload does not
    /// end within `payload`; bytes after it are ignored.
    bool Deserialize(std::span<const std::byte> payload);

  private:
    static constexpr std::uint32_t kFirstFreeId = 2;  // after the root

    void enterNew(std::unique_ptr<CGroupsDBNode> node, const std::string& name,
                  std::uint32_t parent);

    DirectoryNodes nodes_;
    PortPrinters portPrinters_;
    std::uint32_t nextId_ = kFirstFreeId;
    GroupsStore* store_ = nullptr;
};

/// The move: sets the node's parent.
void SetNodeParent(CGroupsDBNode& node, std::uint32_t parent);

}  // namespace velmora
