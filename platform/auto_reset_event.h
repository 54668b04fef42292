#pragma once

#include <atomic>

namespace velmora {

/// An auto-reset event whose state is a number in this process: only a wait for a signal that is
/// not there, and the signal that ends such a wait, go to the kernel. A job sets and takes such an
/// event for every kilobyte that it sends, nearly always without anybody waiting.
///
/// `Semaphore` starts at 0 and has post() and wait().
template <class Semaphore>
class AutoResetEvent {
  public:
    void set() {
        int state = state_.load(std::memory_order_relaxed);
        // An event that is signalled already stays so.
        while (!state_.compare_exchange_weak(state, state < kSignalled ? state + 1 : kSignalled,
                                             std::memory_order_release,
                                             std::memory_order_relaxed)) {
        }
        if (state < 0) semaphore_.post();
    }

    void reset() {
        int state = kSignalled;
        state_.compare_exchange_strong(state, 0, std::memory_order_acquire,
                                       std::memory_order_relaxed);
    }

    void pulse() {
        int state = state_.load(std::memory_order_relaxed);
        while (!state_.compare_exchange_weak(state, state < 0 ? state + 1 : 0,
                                             std::memory_order_release,
                                             std::memory_order_relaxed)) {
        }
        if (state < 0) semaphore_.post();
    }

    void wait() {
        if (state_.fetch_sub(1, std::memory_order_acquire) < kSignalled) semaphore_.wait();
    }

  private:
    static constexpr int kSignalled = 1;

    std::atomic<int> state_{0};  ///< 1: signalled; 0: not; negative: this many threads wait
    Semaphore semaphore_;
};

}  // namespace velmora
