#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "platform/printer_address.h"

namespace velmora {

enum NodeType : std::uint32_t { NODE_GROUP = 0, NODE_PRINTER = 1 };

/// The id of the group "All groups", which holds all others.
inline constexpr std::uint32_t kRootGroup = 1;

/// The longest text of a record, in bytes: what is longer could be stored but not be read again.
inline constexpr std::size_t kLongestDirectoryText = 1023;

/// A record of the group tree. `type` is that of the object (a printer's is NODE_PRINTER) and
/// stays; texts are in the ANSI code page and hold no zero byte.
struct CGroupsDBNode {
    virtual ~CGroupsDBNode() = default;

    std::uint32_t id = 0;
    std::uint32_t parent = 0;  ///< id of the parent group; 0 for the root
    std::string name;
    std::uint32_t type = NODE_GROUP;
};

struct CGroupsDBGroup : CGroupsDBNode {};

/// A printer of the group tree, or the printer of a single-target port.
struct CGroupsDBPrinter : CGroupsDBNode {
    CGroupsDBPrinter() { type = NODE_PRINTER; }

    PrinterAddress address;
};

/// Records by their ids, and the printers of single-target ports by the ports' names.
using DirectoryNodes = std::map<std::uint32_t, std::unique_ptr<CGroupsDBNode>>;
using PortPrinters = std::map<std::string, std::unique_ptr<CGroupsDBPrinter>>;

class CGroupsDB;

/// Where a directory is kept between tasks. Neither call reports a failure: a directory reads as
/// far as it can be read, and a save writes what it can.
class GroupsStore {
  public:
    virtual ~GroupsStore() = default;
    virtual void load(CGroupsDB& directory) = 0;
    virtual void save(const CGroupsDB& directory) = 0;
};

}  // namespace velmora
