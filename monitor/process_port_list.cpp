#include "monitor/process_port_list.h"

#include "monitor/port_store.h"

namespace velmora {
namespace {

std::atomic<PortList*> currentList{nullptr};

}  // namespace

void createPortList() noexcept {
    try {
        static RegistryPortStore store;
        currentList.store(std::make_unique<PortList>(store).release());
    } catch (...) {
        // Out of memory: the spooler is told nothing, and every port is simply unknown.
        return;
    }
}

PortList* portList() noexcept {
    return currentList.load();
}

}  // namespace velmora
