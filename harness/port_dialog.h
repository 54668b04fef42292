#pragma once

#include <gtest/gtest.h>

#include <functional>

#include "harness/dialog_driver.h"

namespace velmora::testing {

/// Runs `entry`, which shows a port's dialog, and lets `person` work at it. Returns once both have
/// ended and the dialog is closed.
inline void atPortDialog(const std::function<void()>& entry,
                         const std::function<void(const SheetDriver&)>& person) {
    drive(entry, [&] {
        const SheetDriver sheet(waitForDialog("Configure Port Monitor").window());
        if (!sheet.sheet()) return;
        EXPECT_TRUE(waitUntil([&] { return static_cast<bool>(sheet.page()); }));
        person(sheet);
        sheet.waitUntilClosed();
    });
}

}  // namespace velmora::testing
