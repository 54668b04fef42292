#include "monitor/port_list.h"

#include <mutex>
#include <utility>

#include "monitor/jobs/port_job.h"
#include "port/port_config.h"

namespace velmora {

Port::Port(PortConfigDomain& domain, PortConfig config)
    : config_(domain, std::make_unique<const PortConfig>(std::move(config))) {}

Port::~Port() = default;

std::string Port::name() const {
    return config()->name;
}

PortList::PortList(PortStore& store) : store_(store) {
    for (PortConfig& config : store_.load())
        append(std::move(config));
}

PortList::~PortList() = default;

PortList::Iterator& PortList::Iterator::operator++() noexcept {
    port_ = port_->next_.load();
    return *this;
}

PortList::Iterator PortList::Iterator::operator++(int) noexcept {
    const Iterator before = *this;
    ++*this;
    return before;
}

Port* PortList::find(std::string_view name) const noexcept {
    // One announcement for all reads: two locked operations for each port would take as long as the
    // rest.
    const PortConfigDomain::Reader reader(domain_);
    for (Port& port : *this)
        if (port.config_.seenBy(reader).name == name) return &port;
    return nullptr;
}

void PortList::append(PortConfig config) {
    owned_.push_back(std::make_unique<Port>(domain_, std::move(config)));
    Port* port = owned_.back().get();
    (tail_ == nullptr ? head_ : tail_->next_).store(port);
    tail_ = port;
    ++count_;
}

Port* PortList::add(PortConfig config) {
    const std::lock_guard lock(writers_);
    append(std::move(config));
    return tail_;
}

PortList::Place PortList::placeOf(const Port& port) noexcept {
    Place place{&head_, nullptr};
    for (Port* other = head_.load(); other != nullptr; other = place.link->load()) {
        if (other == &port) return place;
        place = {&other->next_, other};
    }
    return {};
}

void PortList::update(Port& port, PortConfig config) {
    const std::lock_guard lock(writers_);
    auto next = std::make_unique<const PortConfig>(std::move(config));
    const PortConfig& stored = *next;  // no other writer can replace it before the lock is given up
    port.config_.replace(std::move(next));
    // A port that another thread has removed in the meantime must not come back with the next load.
    if (placeOf(port).link != nullptr) store_.save(stored);
}

void PortList::remove(Port& port) {
    const std::lock_guard lock(writers_);
    const Place place = placeOf(port);
    if (place.link == nullptr) return;
    store_.erase(port.config()->name);
    place.link->store(port.next_.load());
    if (tail_ == &port) tail_ = place.before;
    --count_;
}

void PortList::abandonJobs() noexcept {
    for (const auto& port : owned_)
        static_cast<void>(port->job.release());
}

}  // namespace velmora
