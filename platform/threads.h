#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace velmora {

// Events and threads as Windows has them, without its header. The build chooses the source:
// threads_win32.cpp on Windows, threads_std.cpp (the standard library's mutexes) elsewhere and in
// tests that plant faults.

enum class EventReset {
    manual,     ///< stays signalled until it is reset
    automatic,  ///< a wait that it ends takes the signal
};

/// An event, initially not signalled.
class Event {
  public:
    /// Throws std::bad_alloc if the event cannot be created.
    explicit Event(EventReset reset);
    ~Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    void set();
    void reset();
    /// Releases the threads that wait at this moment (all of them for a manual-reset event, one for
    /// an auto-reset event) and leaves the event unsignalled. A thread that is not waiting yet
    /// misses the pulse, and so may, on Windows, one that the kernel has taken out of its wait for
    /// a moment: whoever needs a pulse to arrive repeats it.
    void pulse();
    /// Waits without limit.
    void wait();

    class State;

  private:
    std::unique_ptr<State> state_;
};

/// A thread of normal priority with the default stack.
class Thread {
  public:
    /// Runs `body`, which must not throw, in a new thread. Null if no thread can be started; `body`
    /// is then not run. The library that this code is part of stays loaded while the thread runs.
    static std::unique_ptr<Thread> start(std::function<void()> body);
    /// The same for a thread that nobody waits for; false if none can be started.
    static bool startDetached(std::function<void()> body);
    /// The thread must have ended.
    ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// Waits up to `milliseconds` for the thread's end; true once it has ended.
    bool waitForEnd(std::uint32_t milliseconds);

    class State;
    explicit Thread(std::unique_ptr<State> state) noexcept;

  private:
    std::unique_ptr<State> state_;
};

}  // namespace velmora
