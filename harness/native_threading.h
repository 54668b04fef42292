#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/event.h"
#include "platform/worker_thread.h"

namespace velmora::testing_support {

/// A Win32 event made of a mutex and a condition variable, for tests that run without Windows. A
/// pulse reaches exactly the threads that wait at that moment; with `losePulses` every such number
/// of pulses one reaches nobody, as if all waiters had been out of their wait for a moment.
class NativeEvent final : public Event {
  public:
    explicit NativeEvent(EventReset reset, unsigned losePulses = 0)
        : reset_(reset), losePulses_(losePulses) {}

    void set() override {
        const std::lock_guard lock(mutex_);
        signalled_ = true;
        wake_.notify_all();
    }
    void reset() override {
        const std::lock_guard lock(mutex_);
        signalled_ = false;
    }
    void pulse() override {
        const std::lock_guard lock(mutex_);
        signalled_ = false;
        ++pulses_;
        if (losePulses_ != 0 && pulses_ % losePulses_ == 0) return;
        if (reset_ == EventReset::Manual) {
            ++generation_;
        } else if (waiting_ != 0) {
            signalled_ = true;  // for the one that takes it
        }
        wake_.notify_all();
    }
    void wait() override {
        std::unique_lock lock(mutex_);
        const std::uint64_t before = generation_;
        ++waiting_;
        wake_.wait(lock, [&] { return signalled_ || generation_ != before; });
        --waiting_;
        if (reset_ == EventReset::Auto) signalled_ = false;
    }

  private:
    const EventReset reset_;
    const unsigned losePulses_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool signalled_ = false;
    unsigned waiting_ = 0;
    std::uint64_t pulses_ = 0;
    std::uint64_t generation_ = 0;
};

/// A thread whose clock runs a thousand times as fast: a second of waiting takes a millisecond.
class NativeThread final : public WorkerThread {
  public:
    explicit NativeThread(std::function<void()> body)
        : thread_([this, body = std::move(body)] {
              body();
              const std::lock_guard lock(mutex_);
              ended_ = true;
              wake_.notify_all();
          }) {}
    ~NativeThread() override { thread_.join(); }

    bool waitForEnd(std::uint32_t milliseconds) override {
        std::unique_lock lock(mutex_);
        return wake_.wait_for(lock, std::chrono::microseconds(milliseconds),
                              [this] { return ended_; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable wake_;
    bool ended_ = false;
    std::thread thread_;
};

}  // namespace velmora::testing_support
