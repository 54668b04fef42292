#pragma once

#include <atomic>
#include <cstddef>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "monitor/snapshot.h"
#include "platform/mutex.h"

namespace velmora {

class PortJob;
struct PortConfig;

using PortConfigDomain = SnapshotDomain<PortConfig>;

/// One port of the list. Its address is the handle that the spooler holds, so a port is never freed
/// while the monitor is loaded, not even after it has been removed from the list.
class Port {
  public:
    Port(PortConfigDomain& domain, PortConfig config);
    ~Port();
    Port(const Port&) = delete;
    Port& operator=(const Port&) = delete;

    /// The current configuration, readable from any thread without a lock.
    Snapshot<PortConfig>::View config() const noexcept { return config_.view(); }
    /// The name in it.
    std::string name() const;

    /// The current job; null if there is none. The spooler calls the entries of one port one after
    /// the other, so it belongs to whichever of its threads is in such an entry.
    std::unique_ptr<PortJob> job;

  private:
    friend class PortList;

    Snapshot<PortConfig> config_;
    std::atomic<Port*> next_{nullptr};
};

/// Where ports are kept while the monitor is not loaded. No call reports a failure: a store that
/// cannot be read gives no ports, and a write that fails leaves the list in memory as it is.
class PortStore {
  public:
    virtual ~PortStore() = default;
    /// Every stored port, in stored order.
    virtual std::vector<PortConfig> load() = 0;
    virtual void save(const PortConfig& config) = 0;
    virtual void erase(const std::string& portName) = 0;
};

/// All ports of the monitor, in the order in which they were added. Reading (iteration, find) takes
/// no lock and may go on while ports are added, updated and removed: links are published
/// atomically, and a removed port keeps its own link, so that a reader that is at it goes on from
/// there. Writers exclude one another.
class PortList {
  public:
    /// Loads every port of `store`, which must outlive the list.
    explicit PortList(PortStore& store);
    ~PortList();
    PortList(const PortList&) = delete;
    PortList& operator=(const PortList&) = delete;

    class Iterator {
      public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = Port;
        using difference_type = std::ptrdiff_t;
        using pointer = Port*;
        using reference = Port&;

        Iterator() = default;
        explicit Iterator(Port* port) noexcept : port_(port) {}
        Port& operator*() const noexcept { return *port_; }
        Port* operator->() const noexcept { return port_; }
        Iterator& operator++() noexcept;
        Iterator operator++(int) noexcept;
        bool operator==(const Iterator&) const = default;

      private:
        Port* port_ = nullptr;
    };

    Iterator begin() const noexcept { return Iterator(head_.load()); }
    Iterator end() const noexcept { return {}; }
    std::size_t size() const noexcept { return count_.load(); }

    /// The first port of that exact name, or null. Bytes are compared: case counts.
    Port* find(std::string_view name) const noexcept;

    /// Appends a port. Nothing is stored, and a name may occur twice. The list owns the port.
    Port* add(PortConfig config);

    /// Replaces the port's configuration and stores it (a removed port is not stored again).
    void update(Port& port, PortConfig config);

    /// Takes the port out of the list and of the store. Its address stays valid: the spooler may
    /// still hold it as a handle. A port that is not in the list is left alone.
    void remove(Port& port);

    /// Abandons the current jobs of all ports, removed ones included, without ending them.
    void abandonJobs() noexcept;

  private:
    struct Place {
        std::atomic<Port*>* link = nullptr;  ///< to the port; null: it is not in the list
        Port* before = nullptr;              ///< whose link it is; null: the list's own
    };

    void append(PortConfig config);
    /// For writers.
    Place placeOf(const Port& port) noexcept;

    PortStore& store_;
    mutable PortConfigDomain domain_;  ///< readers of a constant list announce themselves too
    Mutex writers_;
    std::vector<std::unique_ptr<Port>> owned_;  ///< removed ports included
    std::atomic<Port*> head_{nullptr};
    std::atomic<std::size_t> count_{0};
    Port* tail_ = nullptr;
};

}  // namespace velmora
