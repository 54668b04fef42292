#include "platform/win32_threading.h"

#include <process.h>
#include <windows.h>

#include <new>
#include <utility>

#include "platform/handle.h"

namespace velmora {
namespace {

class Win32Event final : public Event {
  public:
    explicit Win32Event(EventReset reset)
        : event_(CreateEventA(nullptr, reset == EventReset::Manual, FALSE, nullptr)) {
        if (!event_) throw std::bad_alloc();
    }

    void set() override { SetEvent(event_.get()); }
    void reset() override { ResetEvent(event_.get()); }
    void pulse() override { PulseEvent(event_.get()); }
    void wait() override { WaitForSingleObject(event_.get(), INFINITE); }

  private:
    UniqueEvent event_;
};

class Win32Thread final : public WorkerThread {
  public:
    /// False when the system has no thread left.
    bool start(std::unique_ptr<std::function<void()>> body) noexcept {
        // _beginthreadex rather than CreateThread: the body uses the C runtime.
        thread_.reset(
            reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, runBody, body.get(), 0, nullptr)));
        if (!thread_) return false;
        static_cast<void>(body.release());  // the thread frees it
        return true;
    }

    bool waitForEnd(std::uint32_t milliseconds) override {
        return WaitForSingleObject(thread_.get(), milliseconds) != WAIT_TIMEOUT;
    }

  private:
    static unsigned __stdcall runBody(void* parameter) {
        const std::unique_ptr<std::function<void()>> body(
            static_cast<std::function<void()>*>(parameter));
        (*body)();
        return 0;
    }

    UniqueThread thread_;
};

}  // namespace

std::unique_ptr<Event> makeWin32Event(EventReset reset) {
    return std::make_unique<Win32Event>(reset);
}

std::unique_ptr<WorkerThread> startWin32Thread(std::function<void()> body) {
    auto thread = std::make_unique<Win32Thread>();
    if (!thread->start(std::make_unique<std::function<void()>>(std::move(body)))) return nullptr;
    return thread;
}

}  // namespace velmora
