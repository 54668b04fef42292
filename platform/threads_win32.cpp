#include <process.h>
#include <windows.h>

#include <atomic>
#include <climits>
#include <new>
#include <utility>

#include "platform/auto_reset_event.h"
#include "platform/handle.h"
#include "platform/library.h"
#include "platform/threads.h"

namespace velmora {
namespace {

/// Enters the kernel only where somebody waits.
class ManualResetEvent {
  public:
    ManualResetEvent() : event_(CreateEventA(nullptr, TRUE, FALSE, nullptr)) {
        if (!event_) throw std::bad_alloc();
    }

    void set() {
        signalled_ = true;
        SetEvent(event_.get());
    }
    void reset() {
        ResetEvent(event_.get());
        signalled_ = false;
    }
    void pulse() {
        // Without a waiter there is no thread to release. A thread that begins to wait at this
        // moment would have missed the pulse as well.
        if (waiters_ == 0 && !signalled_) return;
        PulseEvent(event_.get());
        signalled_ = false;
    }
    void wait() {
        ++waiters_;
        WaitForSingleObject(event_.get(), INFINITE);
        --waiters_;
    }

  private:
    UniqueEvent event_;
    std::atomic<int> waiters_{0};
    std::atomic<bool> signalled_{false};
};

class Win32Semaphore {
  public:
    Win32Semaphore() : semaphore_(CreateSemaphoreA(nullptr, 0, LONG_MAX, nullptr)) {
        if (!semaphore_) throw std::bad_alloc();
    }
    void post() { ReleaseSemaphore(semaphore_.get(), 1, nullptr); }
    void wait() { WaitForSingleObject(semaphore_.get(), INFINITE); }

  private:
    UniqueSemaphore semaphore_;
};

}  // namespace

class Event::State {
  public:
    virtual ~State() = default;
    virtual void set() = 0;
    virtual void reset() = 0;
    virtual void pulse() = 0;
    virtual void wait() = 0;
};

namespace {

template <class Kind>
class StateOf final : public Event::State {
  public:
    void set() override { event_.set(); }
    void reset() override { event_.reset(); }
    void pulse() override { event_.pulse(); }
    void wait() override { event_.wait(); }

  private:
    Kind event_;
};

}  // namespace

Event::Event(EventReset reset) {
    if (reset == EventReset::automatic) {
        state_ = std::make_unique<StateOf<AutoResetEvent<Win32Semaphore>>>();
    } else {
        state_ = std::make_unique<StateOf<ManualResetEvent>>();
    }
}

Event::~Event() = default;

void Event::set() {
    state_->set();
}

void Event::reset() {
    state_->reset();
}

void Event::pulse() {
    state_->pulse();
}

void Event::wait() {
    state_->wait();
}

class Thread::State {
  public:
    /// False if the system has no thread left.
    bool start(std::function<void()> body) {
        auto parameter = std::make_unique<Parameter>();
        parameter->body = std::move(body);
        parameter->library = referToCurrentModule();
        // _beginthreadex rather than CreateThread: the body uses the C runtime.
        thread_.reset(reinterpret_cast<HANDLE>(
            _beginthreadex(nullptr, 0, runBody, parameter.get(), 0, nullptr)));
        if (!thread_) return false;
        static_cast<void>(parameter.release());  // the thread frees it
        return true;
    }

    bool waitForEnd(std::uint32_t milliseconds) {
        return WaitForSingleObject(thread_.get(), milliseconds) != WAIT_TIMEOUT;
    }

  private:
    struct Parameter {
        std::function<void()> body;
        /// A thread that nobody waits for may outlive its starter's interest in the library; the
        /// library's code must stay for it all the same.
        UniqueModule library;
    };

    static unsigned __stdcall runBody(void* address) {
        HMODULE library = nullptr;
        {
            const std::unique_ptr<Parameter> parameter(static_cast<Parameter*>(address));
            parameter->body();
            library = parameter->library.release();
        }
        // One call for both: after the first step there may be no code left to make the second.
        FreeLibraryAndExitThread(library, 0);
    }

    UniqueThread thread_;
};

Thread::Thread(std::unique_ptr<State> state) noexcept : state_(std::move(state)) {}

Thread::~Thread() = default;

std::unique_ptr<Thread> Thread::start(std::function<void()> body) {
    // Complete before the thread runs: nothing may fail afterwards.
    auto thread = std::make_unique<Thread>(std::make_unique<State>());
    if (!thread->state_->start(std::move(body))) return nullptr;
    return thread;
}

bool Thread::startDetached(std::function<void()> body) {
    return State().start(std::move(body));  // closing the handle lets the thread run on
}

bool Thread::waitForEnd(std::uint32_t milliseconds) {
    return state_->waitForEnd(milliseconds);
}

}  // namespace velmora
