#include "platform/threads_std.h"

#include <condition_variable>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/auto_reset_event.h"

namespace velmora {
namespace {

bool permitted(const ThreadCall& call) {
    const auto& permit = stdThreads().permit;
    return !permit || permit(call);
}

/// A pulse reaches exactly the threads that wait at that moment.
class ManualResetEvent {
  public:
    void set() {
        const std::lock_guard lock(mutex_);
        signalled_ = true;
        wake_.notify_all();
    }
    void reset() {
        const std::lock_guard lock(mutex_);
        signalled_ = false;
    }
    void pulse() {
        const std::lock_guard lock(mutex_);
        signalled_ = false;
        ++pulses_;
        wake_.notify_all();
    }
    void wait() {
        std::unique_lock lock(mutex_);
        const std::uint64_t before = pulses_;
        wake_.wait(lock, [&] { return signalled_ || pulses_ != before; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable wake_;
    bool signalled_ = false;
    std::uint64_t pulses_ = 0;
};

class StdSemaphore {
  public:
    void post() {
        const std::lock_guard lock(mutex_);
        ++count_;
        wake_.notify_one();
    }
    void wait() {
        std::unique_lock lock(mutex_);
        wake_.wait(lock, [this] { return count_ != 0; });
        --count_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable wake_;
    unsigned count_ = 0;
};

}  // namespace

StdThreads& stdThreads() noexcept {
    static StdThreads settings;
    return settings;
}

class Event::State {
  public:
    explicit State(EventReset kind) noexcept : kind_(kind) {}

    template <class Operation>
    void run(ThreadCall::Kind call, Operation operation) {
        if (!permitted({call, kind_})) return;
        if (kind_ == EventReset::automatic) {
            operation(auto_);
        } else {
            operation(manual_);
        }
    }

  private:
    const EventReset kind_;
    ManualResetEvent manual_;
    AutoResetEvent<StdSemaphore> auto_;
};

Event::Event(EventReset reset) {
    if (!permitted({ThreadCall::makeEvent, reset})) throw std::bad_alloc();
    state_ = std::make_unique<State>(reset);
}

Event::~Event() = default;

void Event::set() {
    state_->run(ThreadCall::set, [](auto& event) { event.set(); });
}

void Event::reset() {
    state_->run(ThreadCall::reset, [](auto& event) { event.reset(); });
}

void Event::pulse() {
    state_->run(ThreadCall::pulse, [](auto& event) { event.pulse(); });
}

void Event::wait() {
    state_->run(ThreadCall::wait, [](auto& event) { event.wait(); });
}

class Thread::State {
  public:
    /// False if the system has no thread left.
    bool start(std::function<void()> body) {
        try {
            thread_ = std::thread([this, body = std::move(body)] {
                body();
                const std::lock_guard lock(mutex_);
                ended_ = true;
                wake_.notify_all();
            });
        } catch (const std::system_error&) {
            return false;
        }
        return true;
    }
    ~State() {
        if (thread_.joinable()) thread_.join();
    }

    bool waitForEnd(std::chrono::nanoseconds time) {
        std::unique_lock lock(mutex_);
        return wake_.wait_for(lock, time, [this] { return ended_; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable wake_;
    bool ended_ = false;
    std::thread thread_;
};

Thread::Thread(std::unique_ptr<State> state) noexcept : state_(std::move(state)) {}

Thread::~Thread() = default;

std::unique_ptr<Thread> Thread::start(std::function<void()> body) {
    if (!permitted({ThreadCall::startThread})) return nullptr;
    auto thread = std::make_unique<Thread>(std::make_unique<State>());
    if (!thread->state_->start(std::move(body))) return nullptr;
    return thread;
}

bool Thread::startDetached(std::function<void()> body) {
    if (!permitted({ThreadCall::startThread})) return false;
    try {
        std::thread(std::move(body)).detach();
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

bool Thread::waitForEnd(std::uint32_t milliseconds) {
    if (!permitted({ThreadCall::waitForEnd, EventReset::manual, milliseconds})) return false;
    return state_->waitForEnd(milliseconds * stdThreads().millisecond);
}

}  // namespace velmora
