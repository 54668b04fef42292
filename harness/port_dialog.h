#pragma once

#include <windows.h>

#include <commctrl.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "harness/dialog_driver.h"
#include "ui/resources/resource_ids.h"

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

/// Makes a group below "All groups" on the printer groups page.
inline void addGroup(const DialogDriver& page, const std::string& name) {
    const HWND tree = page.control(IDC_GROUPS_TREE);
    const auto root = SendMessageA(tree, TVM_GETNEXTITEM, TVGN_ROOT, 0);
    SendMessageA(tree, TVM_SELECTITEM, TVGN_CARET, root);
    page.click(IDC_GROUPS_NEW_GROUP);
    const auto editor = reinterpret_cast<HWND>(SendMessageA(tree, TVM_GETEDITCONTROL, 0, 0));
    ASSERT_NE(editor, nullptr);
    SendMessageA(editor, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(name.c_str()));
    SendMessageA(tree, TVM_ENDEDITLABELNOW, FALSE, 0);
}

}  // namespace velmora::testing
