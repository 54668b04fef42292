// Registry layout, all below the base key:
//
//   Printer groups\<id in decimal>       Printers\<port name>
//     Parent     REG_BINARY  u32           URI, User name, Password as on the left
//     Name       REG_SZ
//     Type       REG_BINARY  u32: 0 group, 1 printer
//     URI        REG_SZ      printers only
//     User name  REG_SZ      printers with credentials only; its presence is the flag
//     Password   REG_SZ      as "User name"; in clear
//
// Integers are little-endian; a text is stored with its terminating zero.
//
// One area of 1024 bytes serves every query of a load. It starts zeroed, and a value that is
// missing or longer leaves it as the query before left it: what such a value stands for is whatever
// the area holds then. Administrators' directories depend on that, so a damaged record is read as
// it always was.

#include "directory/groups_store.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "platform/registry.h"

namespace velmora {
namespace {

constexpr char kGroupsKey[] = "\\Printer groups";
constexpr char kPrintersKey[] = "\\Printers";

constexpr char kParent[] = "Parent";
constexpr char kName[] = "Name";
constexpr char kType[] = "Type";
constexpr char kUri[] = "URI";
constexpr char kUserName[] = "User name";
constexpr char kPassword[] = "Password";

class ValueArea {
  public:
    /// False leaves the area as it was, whatever the platform wrote into it before it gave up.
    bool query(const RegistryKey& key, const char* name) {
        if (!key.query(name, area_)) {
            area_ = kept_;
            return false;
        }
        kept_ = area_;
        return true;
    }

    std::uint32_t number() const noexcept {
        std::uint32_t value = 0;
        std::memcpy(&value, area_.data(), sizeof value);
        return value;
    }

    /// Up to the first zero, or all of an area without one.
    std::string text() const {
        const auto* begin = reinterpret_cast<const char*>(area_.data());
        return {begin, std::find(begin, begin + area_.size(), '\0')};
    }

    std::uint32_t queryNumber(const RegistryKey& key, const char* name) {
        query(key, name);
        return number();
    }

    std::string queryText(const RegistryKey& key, const char* name) {
        query(key, name);
        return text();
    }

  private:
    std::array<std::byte, 1024> area_{};
    std::array<std::byte, 1024> kept_{};
};

void readTarget(ValueArea& area, const RegistryKey& key, CGroupsDBPrinter& printer) {
    printer.uri = area.queryText(key, kUri);
    if (!area.query(key, kUserName)) return;
    printer.hasAuth = 1;
    printer.userName = area.text();
    printer.password = area.queryText(key, kPassword);
}

void readNode(ValueArea& area, const RegistryKey& key, std::uint32_t id, CGroupsDB& directory) {
    const std::uint32_t parent = area.queryNumber(key, kParent);
    std::string name = area.queryText(key, kName);
    const std::uint32_t type = area.queryNumber(key, kType);
    std::unique_ptr<CGroupsDBNode> node;
    if (type == NODE_GROUP) {
        node = std::make_unique<CGroupsDBGroup>();
    } else if (type == NODE_PRINTER) {
        auto printer = std::make_unique<CGroupsDBPrinter>();
        readTarget(area, key, *printer);
        node = std::move(printer);
    } else {
        return;
    }
    node->id = id;
    node->parent = parent;
    node->name = std::move(name);
    directory.Insert(std::move(node));
}

/// Calls `visit(key, name)` for each subkey of `path`, in the registry's order. The key of a subkey
/// that cannot be opened is empty.
template <class Visit>
void forEachSubkey(const std::string& path, Visit visit) {
    const RegistryKey key = RegistryKey::open(path);
    if (!key) return;
    std::string name;
    for (DWORD index = 0;; ++index) {
        const LSTATUS status = key.enumSubkey(index, name);
        if (status == ERROR_SUCCESS) {
            visit(key.openSubkey(name), name);
        } else if (status != ERROR_MORE_DATA) {
            // The end; or a key that another save has just deleted, which would fail for ever. Only
            // a name that is too long says nothing about the names behind it.
            return;
        }
    }
}

void writeNumber(const RegistryKey& key, const char* name, std::uint32_t value) {
    key.setBinary(name, std::as_bytes(std::span(&value, 1)));
}

void writeTarget(const RegistryKey& key, const CGroupsDBPrinter& printer) {
    key.setText(kUri, printer.uri);
    if (printer.hasAuth == 0) return;
    key.setText(kUserName, printer.userName);
    key.setText(kPassword, printer.password);
}

void writeNode(const RegistryKey& key, const CGroupsDBNode& node) {
    writeNumber(key, kParent, node.parent);
    key.setText(kName, node.name);
    writeNumber(key, kType, node.type);
    if (node.type == NODE_PRINTER) writeTarget(key, static_cast<const CGroupsDBPrinter&>(node));
}

/// A port's name as the path of its key. Behind "Printers\\" more backslashes say nothing, and at
/// the front of a path below an open key they are refused.
std::string withoutLeadingBackslashes(const std::string& name) {
    return name.substr(std::min(name.find_first_not_of('\\'), name.size()));
}

}  // namespace

std::uint32_t nodeIdOfKey(const char* name) noexcept {
    return static_cast<std::uint32_t>(std::strtoll(name, nullptr, 10));
}

RegistryGroupsStore::RegistryGroupsStore(std::string baseKey, std::string rootName)
    : groupsKey_(baseKey + kGroupsKey),
      printersKey_(std::move(baseKey) + kPrintersKey),
      rootName_(std::move(rootName)) {}

void RegistryGroupsStore::load(CGroupsDB& directory) {
    auto root = std::make_unique<CGroupsDBGroup>();
    root->id = 1;
    root->name = rootName_;
    directory.Insert(std::move(root));

    ValueArea area;
    forEachSubkey(groupsKey_, [&](const RegistryKey& key, const std::string& name) {
        const std::uint32_t id = nodeIdOfKey(name.c_str());
        directory.ReserveId(id);
        if (key) readNode(area, key, id, directory);
    });
    forEachSubkey(printersKey_, [&](const RegistryKey& key, const std::string& name) {
        if (!key) return;
        auto printer = std::make_unique<CGroupsDBPrinter>();
        printer->name = name;
        readTarget(area, key, *printer);
        directory.InsertPortPrinter(std::move(printer));
    });
}

void RegistryGroupsStore::save(const CGroupsDB& directory) {
    RegistryKey::deleteTree(groupsKey_);
    RegistryKey::deleteTree(printersKey_);

    // Stands even for a tree without records.
    const RegistryKey groups = RegistryKey::create(groupsKey_);
    for (const auto& [id, node] : directory.nodes())
        writeNode(groups.createSubkey(std::to_string(id)), *node);

    if (directory.portPrinters().empty()) return;
    const RegistryKey printers = RegistryKey::create(printersKey_);
    for (const auto& [name, printer] : directory.portPrinters())
        writeTarget(printers.createSubkey(withoutLeadingBackslashes(name)), *printer);
}

}  // namespace velmora
