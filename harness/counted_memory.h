#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <map>
#include <mutex>

namespace velmora::testing {

/// Memory that counts what is allocated, and that runs out on demand.
class CountedMemory {
  public:
    ~CountedMemory() {
        for (const auto& [block, size] : live_)
            std::free(block);
    }

    void* allocate(std::size_t size) {
        const std::lock_guard lock(mutex_);
        if (allowed_ == 0) return nullptr;
        --allowed_;
        void* const block = std::malloc(size);
        live_[block] = size;
        bytes_ += size;
        peakBytes_ = std::max(peakBytes_, bytes_);
        ++allocations_;
        return block;
    }
    void release(void* block) {
        const std::lock_guard lock(mutex_);
        const auto found = live_.find(block);
        if (found == live_.end()) {
            ++wrongReleases_;
            return;
        }
        bytes_ -= found->second;
        live_.erase(found);
        std::free(block);
    }

    void allow(std::size_t allocations) {
        const std::lock_guard lock(mutex_);
        allowed_ = allocations;
    }
    void allowAll() { allow(std::numeric_limits<std::size_t>::max()); }

    std::size_t liveBlocks() const {
        return get([&] { return live_.size(); });
    }
    std::size_t allocations() const {
        return get([&] { return allocations_; });
    }
    std::size_t wrongReleases() const {
        return get([&] { return wrongReleases_; });
    }
    std::size_t peakBytes() const {
        return get([&] { return peakBytes_; });
    }

  private:
    template <class Function>
    std::size_t get(Function function) const {
        const std::lock_guard lock(mutex_);
        return function();
    }

    mutable std::mutex mutex_;
    std::map<void*, std::size_t> live_;
    std::size_t allowed_ = std::numeric_limits<std::size_t>::max();
    std::size_t bytes_ = 0;
    std::size_t peakBytes_ = 0;
    std::size_t allocations_ = 0;
    std::size_t wrongReleases_ = 0;
};

}  // namespace velmora::testing
