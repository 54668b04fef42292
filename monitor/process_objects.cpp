#include "monitor/process_objects.h"

#include <atomic>
#include <memory>

#include "monitor/port_list.h"
#include "monitor/port_store.h"
#include "port/policy_store.h"

namespace velmora {
namespace {

struct MadeList;

RegistryPortStore store;
std::atomic<MadeList*> newest{nullptr};

struct MadeList {
    explicit MadeList(PortStore& store) : list(store) {}

    PortList list;
    MadeList* before = newest.load();
};

}  // namespace

void createPortList() noexcept {
    try {
        // Read once, in case it is unreadable later.
        machinePolicy();
        auto made = std::make_unique<MadeList>(store);
        while (!newest.compare_exchange_weak(made->before, made.get())) {
        }
        static_cast<void>(made.release());
    } catch (...) {
        // Out of memory: the spooler is told nothing, and every port is simply unknown.
        return;
    }
}

PortList* portList() noexcept {
    MadeList* const made = newest.load();
    return made == nullptr ? nullptr : &made->list;
}

Port* findPort(std::string_view name) noexcept {
    PortList* const list = portList();
    return list == nullptr ? nullptr : list->find(name);
}

void destroyPortLists() noexcept {
    for (MadeList* made = newest.exchange(nullptr); made != nullptr;) {
        const std::unique_ptr<MadeList> last(made);
        made = last->before;
        last->list.abandonJobs();
    }
}

CriticalSection& monitorLock() {
    static CriticalSection lock;
    return lock;
}

}  // namespace velmora
