#include "tests/ui/sent_messages.h"

#include <gtest/gtest.h>

#include <utility>

namespace velmora::testing {

SentMessages* SentMessages::current_ = nullptr;

SentMessages::SentMessages(HWND window, Wanted wanted) : wanted_(std::move(wanted)) {
    current_ = this;
    hook_ =
        SetWindowsHookExA(WH_CALLWNDPROC, &see, nullptr, GetWindowThreadProcessId(window, nullptr));
    EXPECT_NE(hook_, nullptr);
}

SentMessages::~SentMessages() {
    UnhookWindowsHookEx(hook_);
    current_ = nullptr;
}

std::vector<SentMessages::Message> SentMessages::take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(messages_, {});
}

LRESULT CALLBACK SentMessages::see(int code, WPARAM wParam, LPARAM lParam) {
    const auto& message = *reinterpret_cast<const CWPSTRUCT*>(lParam);
    if (code == HC_ACTION && current_ != nullptr && current_->wanted_(message)) {
        const std::lock_guard lock(current_->mutex_);
        current_->messages_.push_back({message, GetDlgCtrlID(message.hwnd)});
    }
    return CallNextHookEx(nullptr, code, wParam, lParam);
}

}  // namespace velmora::testing
