#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

namespace {

/// Ends the program with the name of the running test if it takes longer than `limit`, so that a
/// hang costs one test and not the whole run.
class Watchdog {
  public:
    explicit Watchdog(std::chrono::seconds limit) : thread_([this, limit] { watch(limit); }) {}
    ~Watchdog() {
        {
            const std::lock_guard lock(mutex_);
            done_ = true;
        }
        wake_.notify_all();
        thread_.join();
    }

  private:
    void watch(std::chrono::seconds limit) {
        std::unique_lock lock(mutex_);
        if (wake_.wait_for(lock, limit, [this] { return done_; })) return;
        const auto* test = testing::UnitTest::GetInstance()->current_test_info();
        std::fprintf(stderr, "watchdog: hangs in %s.%s\n", test ? test->test_suite_name() : "",
                     test ? test->name() : "(no test)");
        std::fflush(stderr);
        std::_Exit(3);
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    bool done_ = false;
    std::thread thread_;
};

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    // Set by tests that were told to take long.
    const char* const seconds = std::getenv("VELMORA_TEST_SECONDS");
    const Watchdog watchdog(std::chrono::seconds(seconds == nullptr ? 100 : std::atoi(seconds)));
    return RUN_ALL_TESTS();
}
