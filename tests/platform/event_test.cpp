#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <ostream>
#include <thread>
#include <vector>

#include "platform/threads.h"

namespace velmora {
namespace {

/// A thread that waits for the event once.
class Waiter {
  public:
    explicit Waiter(Event& event)
        : thread_([this, &event] {
              started_ = true;
              event.wait();
              released_ = true;
          }) {
        while (!started_)
            std::this_thread::yield();
    }
    bool released() const { return released_; }

  private:
    std::atomic<bool> started_{false};
    std::atomic<bool> released_{false};
    std::jthread thread_;
};

class EventOfEitherKind : public testing::TestWithParam<EventReset> {
  protected:
    Event event{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Kinds, EventOfEitherKind,
                         testing::Values(EventReset::manual, EventReset::automatic),
                         [](const auto& info) {
                             return info.param == EventReset::manual ? "Manual" : "Auto";
                         });

TEST_P(EventOfEitherKind, SetBeforeAWaitEndsItAtOnce) {
    event.set();
    event.set();
    event.wait();
}

TEST_P(EventOfEitherKind, SetReleasesAThreadThatWaits) {
    Waiter waiter(event);
    event.set();
}

TEST_P(EventOfEitherKind, ResetTakesTheSignalBack) {
    event.set();
    event.reset();
    event.reset();
    Waiter waiter(event);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(waiter.released());
    event.set();
}

TEST_P(EventOfEitherKind, PulseWithoutAWaiterIsLost) {
    event.pulse();
    event.set();
    event.pulse();
    Waiter waiter(event);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(waiter.released());
    event.set();
}

TEST_P(EventOfEitherKind, RepeatedPulsesReleaseEveryWaiter) {
    std::vector<std::unique_ptr<Waiter>> waiters;
    for (int i = 0; i < 8; ++i)
        waiters.push_back(std::make_unique<Waiter>(event));
    for (const auto& waiter : waiters) {
        while (!waiter->released()) {
            event.pulse();
            std::this_thread::yield();
        }
    }
}

TEST(AutoResetEvent, OneSignalEndsOneWait) {
    Event event(EventReset::automatic);
    event.set();
    event.wait();
    Waiter waiter(event);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(waiter.released());
    event.set();
}

TEST(AutoResetEvent, HandsATurnToAndFroWithoutLosingIt) {
    Event there(EventReset::automatic);
    Event back(EventReset::automatic);
    int turns = 0;  // whoever has the turn counts
    constexpr int kRounds = 2000;
    std::jthread other([&] {
        for (int i = 0; i < kRounds; ++i) {
            there.wait();
            ++turns;
            back.set();
        }
    });
    for (int i = 0; i < kRounds; ++i) {
        ++turns;
        there.set();
        back.wait();
    }
    EXPECT_EQ(turns, 2 * kRounds);
}

TEST(AutoResetEvent, EverySetOfOneSignalAtATimeReleasesOneOfManyWaiters) {
    Event event(EventReset::automatic);
    std::vector<std::unique_ptr<Waiter>> waiters;
    for (int i = 0; i < 8; ++i)
        waiters.push_back(std::make_unique<Waiter>(event));
    const auto released = [&] {
        int count = 0;
        for (const auto& waiter : waiters)
            count += waiter->released();
        return count;
    };
    for (int i = 1; i <= 8; ++i) {
        event.set();
        while (released() < i)
            std::this_thread::yield();
        EXPECT_EQ(released(), i);
    }
}

}  // namespace
}  // namespace velmora
