#include "monitor/snapshot.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <utility>

#include "harness/allocations.h"

namespace velmora::testing {
namespace {

TEST(SnapshotDomain, RetiredObjectsGoWhenTheLastReaderHasGone) {
    SnapshotDomain<int> domain;
    Snapshot<int> snapshot(domain, std::make_unique<const int>(1));
    {
        const auto view = snapshot.view();
        snapshot.replace(std::make_unique<const int>(2));
        EXPECT_EQ(domain.retiredCount(), 1u);
        EXPECT_EQ(*view, 1);
    }
    snapshot.replace(std::make_unique<const int>(3));
    EXPECT_EQ(domain.retiredCount(), 0u);
    EXPECT_EQ(*snapshot.view(), 3);
}

TEST(Snapshot, WithoutMemoryNothingIsReplacedAndTheObjectInUseStays) {
    SnapshotDomain<int> domain;
    Snapshot<int> snapshot(domain, std::make_unique<const int>(1));
    const auto view = snapshot.view();
    auto next = std::make_unique<const int>(2);
    {
        const FailingAllocation noMemory(0);
        EXPECT_THROW(snapshot.replace(std::move(next)), std::bad_alloc);
    }
    EXPECT_EQ(*snapshot.view(), 1);
    EXPECT_EQ(*view, 1);
    EXPECT_EQ(domain.retiredCount(), 0u);
}

}  // namespace
}  // namespace velmora::testing
