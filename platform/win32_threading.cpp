#include "platform/win32_threading.h"

#include <process.h>
#include <windows.h>

#include <atomic>
#include <climits>
#include <new>
#include <utility>

#include "platform/auto_reset_event.h"
#include "platform/handle.h"
#include "platform/library.h"

namespace velmora {
namespace {

class ManualResetEvent final : public Event {
  public:
    ManualResetEvent() : event_(CreateEventA(nullptr, TRUE, FALSE, nullptr)) {
        if (!event_) throw std::bad_alloc();
    }

    void set() override {
        signalled_ = true;
        SetEvent(event_.get());
    }
    void reset() override {
        ResetEvent(event_.get());
        signalled_ = false;
    }
    void pulse() override {
        // Without a waiter there is nobody to release. One that comes while this is looked at
        // would have come too late for the pulse as well.
        if (waiters_ == 0 && !signalled_) return;
        PulseEvent(event_.get());
        signalled_ = false;
    }
    void wait() override {
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
    UniqueEvent semaphore_;
};

class Win32Thread final : public WorkerThread {
  public:
    /// False when the system has no thread left.
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

    bool waitForEnd(std::uint32_t milliseconds) override {
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

}  // namespace

std::unique_ptr<Event> makeWin32Event(EventReset reset) {
    if (reset == EventReset::Auto) return std::make_unique<AutoResetEvent<Win32Semaphore>>();
    return std::make_unique<ManualResetEvent>();
}

std::unique_ptr<WorkerThread> startWin32Thread(std::function<void()> body) {
    auto thread = std::make_unique<Win32Thread>();
    if (!thread->start(std::move(body))) return nullptr;
    return thread;
}

}  // namespace velmora
