#pragma once

#include <condition_variable>
#include <mutex>

namespace velmora::testing {

/// A lock that many users of the library share, and that somebody who needs it alone can take.
class Gate {
  public:
    class Visit {
      public:
        explicit Visit(Gate& gate) : gate_(gate) {
            std::unique_lock lock(gate_.mutex_);
            gate_.changed_.wait(lock, [this] { return !gate_.closed_; });
            ++gate_.inside_;
        }
        ~Visit() {
            const std::lock_guard lock(gate_.mutex_);
            --gate_.inside_;
            gate_.changed_.notify_all();
        }
        Visit(const Visit&) = delete;
        Visit& operator=(const Visit&) = delete;

      private:
        Gate& gate_;
    };
    class Closed {
      public:
        explicit Closed(Gate& gate) : gate_(gate) {
            std::unique_lock lock(gate_.mutex_);
            gate_.closed_ = true;
            gate_.changed_.wait(lock, [this] { return gate_.inside_ == 0; });
        }
        ~Closed() {
            const std::lock_guard lock(gate_.mutex_);
            gate_.closed_ = false;
            gate_.changed_.notify_all();
        }
        Closed(const Closed&) = delete;
        Closed& operator=(const Closed&) = delete;

      private:
        Gate& gate_;
    };

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int inside_ = 0;
    bool closed_ = false;
};

}  // namespace velmora::testing
