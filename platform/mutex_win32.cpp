#include "platform/critical_section.h"
#include "platform/mutex.h"

namespace velmora {

struct Mutex::Implementation {
    CriticalSection section;
};

Mutex::Mutex() : implementation_(std::make_unique<Implementation>()) {}

Mutex::~Mutex() = default;

void Mutex::lock() noexcept {
    implementation_->section.lock();
}

void Mutex::unlock() noexcept {
    implementation_->section.unlock();
}

}  // namespace velmora
