#include <mutex>

#include "platform/mutex.h"

namespace velmora {

struct Mutex::Implementation {
    std::mutex mutex;
};

Mutex::Mutex() : implementation_(std::make_unique<Implementation>()) {}

Mutex::~Mutex() = default;

void Mutex::lock() noexcept {
    implementation_->mutex.lock();
}

void Mutex::unlock() noexcept {
    implementation_->mutex.unlock();
}

}  // namespace velmora
