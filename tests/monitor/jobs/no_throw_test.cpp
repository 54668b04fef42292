// A job throws nothing on its ordinary path: an exception needs memory, which may have run out, and
// a worker's first throw makes the runtime allocate what it keeps for that thread. The program is
// linked so that every throw in it goes through the function below.
#include <atomic>
#include <string>
#include <vector>

#include "harness/peer.h"
#include "harness/printing.h"
#include "monitor/delivery_output.h"
#include "port/policy_store.h"
#include "tests/monitor/jobs/job_test.h"

namespace {

std::atomic<int> throws{0};

}  // namespace

extern "C" {

[[noreturn]] void __real___cxa_throw(void* exception, void* type, void* destructor);

[[noreturn]] void __wrap___cxa_throw(void* exception, void* type, void* destructor) {
    ++throws;
    __real___cxa_throw(exception, type, destructor);
}

}  // extern "C"

namespace velmora::testing {
namespace {

class NoThrow : public JobTest {
  protected:
    /// With the page ranges of most jobs, with some that a user types, and with wrong ones.
    void expectJobsToThrowNothing() {
        Peer printer("http_sink");
        for (const char* pages : {"", "1-3, 7", "5-2", "all"}) {
            const HANDLE single = singlePort(printer.url(), std::string("One ") + pages);
            setPageRanges(single, pages);
            const int before = throws;
            EXPECT_TRUE(printJob(single, testDocument(5000)));
            EXPECT_EQ(throws, before) << "one printer, pages \"" << pages << '"';
        }
        const HANDLE several = multiPort({printer.url(), printer.url(), printer.url()});
        const int before = throws;
        EXPECT_TRUE(printJob(several, testDocument(5000)));
        flushDeliveryLog();
        EXPECT_EQ(throws, before) << "three printers";
    }
};

TEST_F(NoThrow, ThrowsAreCounted) {
    const int before = throws;
    EXPECT_THROW(throw std::string(), std::string);
    EXPECT_EQ(throws, before + 1);
}

TEST_F(NoThrow, JobsWithoutAPolicy) {
    expectJobsToThrowNothing();
}

TEST_F(NoThrow, JobsWithTheInstalledPolicy) {
    ASSERT_TRUE(createPolicy(kDefaultMonitorKey, installedPolicy()));
    expectJobsToThrowNothing();
}

}  // namespace
}  // namespace velmora::testing
