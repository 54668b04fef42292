#pragma once

#include <windows.h>

#include <prsht.h>

#include <array>
#include <cstddef>
#include <functional>
#include <string_view>
#include <utility>
#include <vector>

namespace velmora::testing {

/// What is done with a sheet, one step for each tick of the timer. A sheet that is still open after
/// the last step is cancelled. The same for a dialog that a sheet opens.
using SheetSteps = std::vector<std::function<void(HWND sheet)>>;

/// Operates every dialog that this thread shows while the object lives. It works from a timer, so
/// that open dialogs are closed whatever fails. One at a time.
class SheetPerson {
  public:
    /// `dialogSteps`: for dialogs with something to fill in.
    explicit SheetPerson(const SheetSteps& steps, SheetSteps dialogSteps = {})
        : steps_(steps), dialogSteps_(std::move(dialogSteps)) {
        present = this;
        timer_ = SetTimer(nullptr, 0, USER_TIMER_MINIMUM, &tick);
    }
    ~SheetPerson() {
        KillTimer(nullptr, timer_);
        present = nullptr;
    }
    SheetPerson(const SheetPerson&) = delete;
    SheetPerson& operator=(const SheetPerson&) = delete;

    /// The number of sheets so far.
    int sheets() const { return sheets_; }

  private:
    static void CALLBACK tick(HWND, UINT, UINT_PTR, DWORD) { present->act(); }

    static BOOL CALLBACK visit(HWND window, LPARAM found) {
        std::array<char, 16> name{};
        GetClassNameA(window, name.data(), static_cast<int>(name.size()));
        if (!IsWindowVisible(window) || !IsWindowEnabled(window) ||
            std::string_view(name.data()) != "#32770")
            return TRUE;
        *reinterpret_cast<HWND*>(found) = window;
        return FALSE;
    }

    void act() {
        HWND dialog = nullptr;
        EnumThreadWindows(GetCurrentThreadId(), &visit, reinterpret_cast<LPARAM>(&dialog));
        if (dialog == nullptr) return;
        const bool isSheet = SendMessageA(dialog, PSM_GETTABCONTROL, 0, 0) != 0;
        if (isSheet && dialog != sheet_) {
            sheet_ = dialog;
            step_ = 0;
            ++sheets_;
        }
        const bool isForm = !isSheet && FindWindowExA(dialog, nullptr, "Edit", nullptr) != nullptr;
        if (isForm && dialog != form_) {
            form_ = dialog;
            formStep_ = 0;
        }
        if (isSheet && step_ < steps_.size())
            steps_[step_++](dialog);
        else if (isForm && formStep_ < dialogSteps_.size())
            dialogSteps_[formStep_++](dialog);
        else
            PostMessageA(dialog, WM_COMMAND, IDCANCEL, 0);
    }

    inline static SheetPerson* present = nullptr;

    const SheetSteps& steps_;
    const SheetSteps dialogSteps_;
    UINT_PTR timer_ = 0;
    HWND sheet_ = nullptr;
    std::size_t step_ = 0;
    HWND form_ = nullptr;
    std::size_t formStep_ = 0;
    int sheets_ = 0;
};

inline void openPage(HWND sheet, int index) {
    PostMessageA(sheet, PSM_SETCURSEL, static_cast<WPARAM>(index), 0);
}

}  // namespace velmora::testing
