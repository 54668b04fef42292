#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "harness/allocations.h"
#include "monitor/delivery_log.h"
#include "monitor/jobs/packet_queue.h"

// What the monitor's parts do when memory runs out, and that they give theirs back.

namespace velmora::testing {
namespace {

class Lines final : public DeliveryOutput {
  public:
    std::size_t append(std::span<const std::string> given, std::uint32_t) override {
        lines.insert(lines.end(), given.begin(), given.end());
        return given.size();
    }
    void report(const DeliveryEntry&, std::uint32_t) override {}
    std::string words(std::uint32_t) override { return {}; }
    std::int64_t now() override { return 0; }
    void sleep(std::uint32_t) override {}

    std::vector<std::string> lines;
};

TEST(DeliveryLogWithoutMemory, CountsTheLineThatItCannotTake) {
    Lines output;
    // Its thread does not come to run.
    DeliveryLog log(output, [](void (*)(void*), void*) { return true; });
    DeliveryEntry entry;
    entry.document = std::string(100, 'x');
    {
        DeliveryEntry lost = entry;
        const FailingAllocation noMemory(0);
        log.add(std::move(lost), false, {20, 0});
        EXPECT_TRUE(noMemory.happened());
    }
    EXPECT_FALSE(log.running());
    log.add(entry, false, {20, 0});
    log.finish();
    entry.lost = 1;
    EXPECT_EQ(output.lines, std::vector<std::string>{deliveryLine(entry)});
}

TEST(PacketQueueMemory, IsGivenBack) {
    const std::size_t before = allocationCounts().live;
    {
        PacketQueue queue(1);
        EXPECT_TRUE(queue.write({std::as_bytes(std::span("piece"))}));
        EXPECT_GT(allocationCounts().live, before);
    }
    EXPECT_EQ(allocationCounts().live, before);
}

}  // namespace
}  // namespace velmora::testing
