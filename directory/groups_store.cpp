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
// missing or longer leaves it as the query before left it: such a value reads as whatever the area
// holds then. Administrators' directories depend on that, so a damaged record is read as
// it always was. A password alone does not stay: a value that is missing after it reads as empty.
//
// A save leaves the same keys and values as deleting everything and writing it again would, and
// writes no more than what differs.

#include "directory/groups_store.h"
#include "directory/groups_db.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <utility>
#include <vector>

#include "platform/critical_section.h"
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

/// The first failure of a load that left stored values unread.
class LoadError {
  public:
    void note(LSTATUS status) noexcept {
        if (first_ == ERROR_SUCCESS && status != ERROR_SUCCESS && !isMissing(status))
            first_ = status;
    }
    LSTATUS first() const noexcept { return first_; }

  private:
    LSTATUS first_ = ERROR_SUCCESS;
};

class ValueArea {
  public:
    explicit ValueArea(LoadError& error) noexcept : error_(error) {}

    /// False leaves the area as it was, whatever the platform wrote into it before it gave up.
    bool query(const RegistryKey& key, const char* name) {
        LSTATUS status = ERROR_SUCCESS;
        if (!key.query(name, area_, nullptr, &status)) {
            area_ = kept_;
            if (status != ERROR_MORE_DATA) error_.note(status);
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

    /// Like queryText, but the value does not stay in the buffer.
    std::string querySecret(const RegistryKey& key, const char* name) {
        const bool found = query(key, name);
        std::string secret = text();
        if (found) {
            SecureZeroMemory(area_.data(), area_.size());
            SecureZeroMemory(kept_.data(), kept_.size());
        }
        return secret;
    }

  private:
    using Area = std::array<std::byte, kLongestDirectoryText + 1>;

    LoadError& error_;
    Area area_{};
    Area kept_{};
};

void readTarget(ValueArea& area, const RegistryKey& key, CGroupsDBPrinter& printer) {
    printer.address.url = area.queryText(key, kUri);
    if (!area.query(key, kUserName)) return;
    printer.address.useAuthentication = 1;
    printer.address.userName = area.text();
    printer.address.password = area.querySecret(key, kPassword);
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
void forEachSubkey(const std::string& path, LoadError& error, Visit visit) {
    LSTATUS status = ERROR_SUCCESS;
    const RegistryKey key = RegistryKey::open(path, &status);
    error.note(status);
    if (!key) return;
    std::string name;
    for (DWORD index = 0;; ++index) {
        status = key.enumSubkey(index, name);
        if (status == ERROR_SUCCESS) {
            const RegistryKey subkey = key.openSubkey(name, &status);
            error.note(status);
            visit(subkey, name);
        } else if (status != ERROR_MORE_DATA) {
            // The end; or a key that another save has just deleted, which would fail for ever. Only
            // a name that is too long says nothing about the names after it.
            if (status != ERROR_NO_MORE_ITEMS) error.note(status);
            return;
        }
    }
}

/// The values of one record's key. They refer to the record.
class StoredValues {
  public:
    struct Value {
        const char* name;
        DWORD type;
        std::span<const std::byte> data;
    };

    explicit StoredValues(const CGroupsDBNode& node) {
        add(kParent, node.parent);
        add(kName, node.name);
        add(kType, node.type);
        if (node.type == NODE_PRINTER) addTarget(static_cast<const CGroupsDBPrinter&>(node));
    }
    /// A port's printer is stored without the fields of a node.
    static StoredValues ofPortPrinter(const CGroupsDBPrinter& printer) {
        StoredValues values;
        values.addTarget(printer);
        return values;
    }

    std::span<const Value> all() const noexcept { return std::span(values_).first(count_); }
    const Value* find(std::string_view name) const noexcept {
        for (const Value& value : all())
            if (name == value.name) return &value;
        return nullptr;
    }

  private:
    StoredValues() = default;

    void add(const char* name, const std::uint32_t& number) {
        values_[count_++] = {name, REG_BINARY, std::as_bytes(std::span(&number, 1))};
    }
    void add(const char* name, const std::string& text) {
        values_[count_++] = {name, REG_SZ, std::as_bytes(std::span(text.c_str(), text.size() + 1))};
    }
    void addTarget(const CGroupsDBPrinter& printer) {
        add(kUri, printer.address.url);
        if (printer.address.useAuthentication == 0) return;
        add(kUserName, printer.address.userName);
        add(kPassword, printer.address.password);
    }

    std::array<Value, 6> values_{};
    std::size_t count_ = 0;
};

bool sameValue(const RegistryValue& stored, const StoredValues::Value& wanted) noexcept {
    return stored.type() == wanted.type && std::ranges::equal(stored.data(), wanted.data);
}

/// One of the two tables while it is saved.
class TableWriter {
  public:
    explicit TableWriter(const std::string& path) : path_(path), key_(RegistryKey::create(path)) {}

    /// Removes every key that `isWanted` does not accept. If the table's keys cannot be
    /// distinguished or removed one by one, the whole table is removed, with the same result.
    template <class IsWanted>
    void removeOthers(IsWanted isWanted) {
        std::vector<std::string> others;
        std::string name;
        DWORD index = 0;
        LSTATUS status = ERROR_SUCCESS;
        for (; (status = key_.enumSubkey(index, name)) == ERROR_SUCCESS; ++index)
            if (!isWanted(name)) others.push_back(name);
        bool removed = status == ERROR_NO_MORE_ITEMS && removeValues(key_, nullptr);
        for (const std::string& other : others)
            removed = removed && key_.deleteSubtree(other);
        if (!removed) removeAll();
    }
    void removeAll() {
        key_ = RegistryKey();
        RegistryKey::deleteTree(path_);
        key_ = RegistryKey::create(path_);
    }

    void write(const std::string& name, const StoredValues& values) {
        if (isStored(key_.openSubkey(name), values)) return;
        const RegistryKey key = key_.createSubkey(name);
        removeSubkeys(key);
        removeValues(key, &values);
        for (const StoredValues::Value& value : values.all())
            key.setValue(value.name, value.type, value.data);
    }
    /// Replaces whatever the key has.
    void writeAnew(const std::string& name, const StoredValues& values) {
        const RegistryKey key = key_.createSubkey(name);
        for (const StoredValues::Value& value : values.all())
            key.setValue(value.name, value.type, value.data);
    }

  private:
    bool isStored(const RegistryKey& key, const StoredValues& values) {
        const auto counts = key.counts();
        if (!counts || counts->subkeys != 0 || counts->values != values.all().size()) return false;
        for (DWORD index = 0; index < counts->values; ++index) {
            if (!key.enumValue(index, value_)) return false;
            const StoredValues::Value* const wanted = values.find(value_.name());
            if (wanted == nullptr || !sameValue(value_, *wanted)) return false;
        }
        return true;
    }
    /// Removes all values that are not among those wanted.
    bool removeValues(const RegistryKey& key, const StoredValues* wanted) {
        for (DWORD index = 0; key.enumValue(index, value_);) {
            if (wanted != nullptr && wanted->find(value_.name()) != nullptr) {
                ++index;
            } else if (!key.deleteValue(std::string(value_.name()).c_str())) {
                return false;
            }
        }
        return true;
    }
    static void removeSubkeys(const RegistryKey& key) {
        std::string name;
        while (key.enumSubkey(0, name) == ERROR_SUCCESS && key.deleteSubtree(name)) {
        }
    }

    const std::string& path_;
    RegistryKey key_;
    RegistryValue value_;
};

/// A port's name as the path of its key. After "Printers\\" further backslashes are ignored, but at
/// the front of a path below an open key they are refused.
std::string withoutLeadingBackslashes(const std::string& name) {
    return name.substr(std::min(name.find_first_not_of('\\'), name.size()));
}

/// Whether every port's printer has a key of its own: no name is a path, and no two are one to the
/// registry, which folds case.
bool haveKeysOfTheirOwn(const PortPrinters& printers) {
    std::set<std::string> folded;
    for (const auto& [name, printer] : printers) {
        std::string upper = name;
        CharUpperBuffA(upper.data(), static_cast<DWORD>(upper.size()));
        if (name.empty() || name.find('\\') != name.npos || !folded.insert(upper).second)
            return false;
    }
    return true;
}

/// Loads and saves of one process exclude each other, so that none reads half a directory. Held
/// only during the registry calls.
CriticalSection storeLock;

}  // namespace

std::uint32_t nodeIdOfKey(const char* name) noexcept {
    return static_cast<std::uint32_t>(std::strtoll(name, nullptr, 10));
}

RegistryGroupsStore::RegistryGroupsStore(std::string baseKey, std::string rootName)
    : groupsKey_(baseKey + kGroupsKey),
      printersKey_(std::move(baseKey) + kPrintersKey),
      rootName_(std::move(rootName)) {}

void RegistryGroupsStore::load(CGroupsDB& directory) {
    const std::lock_guard lock(storeLock);
    auto root = std::make_unique<CGroupsDBGroup>();
    root->id = kRootGroup;
    root->name = rootName_;
    directory.Insert(std::move(root));

    LoadError error;
    ValueArea area(error);
    forEachSubkey(groupsKey_, error, [&](const RegistryKey& key, const std::string& name) {
        const std::uint32_t id = nodeIdOfKey(name.c_str());
        directory.ReserveId(id);
        if (key) readNode(area, key, id, directory);
    });
    forEachSubkey(printersKey_, error, [&](const RegistryKey& key, const std::string& name) {
        if (!key) return;
        auto printer = std::make_unique<CGroupsDBPrinter>();
        printer->name = name;
        readTarget(area, key, *printer);
        directory.InsertPortPrinter(std::move(printer));
    });
    loadError_ = error.first();
}

void RegistryGroupsStore::save(const CGroupsDB& directory) {
    const std::lock_guard lock(storeLock);
    // It exists even for a tree without records.
    TableWriter groups(groupsKey_);
    groups.removeOthers([&](const std::string& name) {
        const std::uint32_t id = nodeIdOfKey(name.c_str());
        return directory.nodes().contains(id) && name == std::to_string(id);
    });
    for (const auto& [id, node] : directory.nodes())
        groups.write(std::to_string(id), StoredValues(*node));
    savePortPrinters(directory.portPrinters());
}

void RegistryGroupsStore::savePortPrinters(const PortPrinters& records) {
    if (records.empty()) {
        RegistryKey::deleteTree(printersKey_);
        return;
    }
    TableWriter printers(printersKey_);
    if (haveKeysOfTheirOwn(records)) {
        printers.removeOthers([&](const std::string& name) { return records.contains(name); });
        for (const auto& [name, printer] : records)
            printers.write(name, StoredValues::ofPortPrinter(*printer));
    } else {
        printers.removeAll();
        for (const auto& [name, printer] : records)
            printers.writeAnew(withoutLeadingBackslashes(name),
                               StoredValues::ofPortPrinter(*printer));
    }
}

void RegistryGroupsStore::savePortPrinter(const CGroupsDBPrinter& printer) {
    const std::lock_guard lock(storeLock);
    TableWriter(printersKey_).write(printer.name, StoredValues::ofPortPrinter(printer));
}

bool RegistryGroupsStore::erasePortPrinter(const std::string& portName) {
    const std::lock_guard lock(storeLock);
    const RegistryKey printers = RegistryKey::open(printersKey_);
    return !printers.openSubkey(portName) || printers.deleteSubkey(portName);
}

std::optional<RegistryGroupsStore::Stamp> RegistryGroupsStore::stamp() const {
    const auto groups = RegistryKey::open(groupsKey_).stamp();
    const auto printers = RegistryKey::open(printersKey_).stamp();
    if (!groups || !printers) return std::nullopt;
    return Stamp{*groups, *printers};
}

}  // namespace velmora
