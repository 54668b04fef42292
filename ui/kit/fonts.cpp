#include "ui/kit/fonts.h"

#include <optional>

namespace velmora {
namespace {

/// None for a code page without a character set of its own, such as UTF-8.
std::optional<BYTE> charsetOfSystem() {
    CHARSETINFO info{};
    // With this flag the first argument is no pointer but the code page itself.
    const auto codePage = reinterpret_cast<DWORD*>(static_cast<UINT_PTR>(GetACP()));
    if (!TranslateCharsetInfo(codePage, &info, TCI_SRCCODEPAGE)) return std::nullopt;
    return static_cast<BYTE>(info.ciCharset);
}

LOGFONTA describe(HGDIOBJ font) {
    LOGFONTA description{};
    GetObjectA(font, sizeof description, &description);
    return description;
}

}  // namespace

TextMeasure::TextMeasure(HWND control) : control_(control), context_(GetDC(control)) {
    const auto font = reinterpret_cast<HGDIOBJ>(SendMessageA(control, WM_GETFONT, 0, 0));
    if (font != nullptr) previousFont_ = SelectObject(context_, font);
}

TextMeasure::~TextMeasure() {
    if (previousFont_ != nullptr) SelectObject(context_, previousFont_);
    ReleaseDC(control_, context_);
}

int TextMeasure::width(const std::string& text) const {
    SIZE size{};
    GetTextExtentPoint32A(context_, text.data(), static_cast<int>(text.size()), &size);
    return static_cast<int>(size.cx);
}

int TextMeasure::charset() const {
    return GetTextCharset(context_);
}

int TextMeasure::averageCharWidth() const {
    TEXTMETRICA metrics{};
    GetTextMetricsA(context_, &metrics);
    return static_cast<int>(metrics.tmAveCharWidth);
}

void DialogFont::adapt(HWND dialog) {
    const auto present = reinterpret_cast<HGDIOBJ>(SendMessageA(dialog, WM_GETFONT, 0, 0));
    const auto charset = charsetOfSystem();
    if (present == nullptr || !charset || TextMeasure(dialog).charset() == *charset) return;
    LOGFONTA description = describe(GetStockObject(DEFAULT_GUI_FONT));
    description.lfHeight = describe(present).lfHeight;
    description.lfCharSet = *charset;
    font_.reset(CreateFontIndirectA(&description));
    if (!font_) return;
    for (HWND child = GetWindow(dialog, GW_CHILD); child != nullptr;
         child = GetWindow(child, GW_HWNDNEXT))
        SendMessageA(child, WM_SETFONT, reinterpret_cast<WPARAM>(font_.get()), FALSE);
}

}  // namespace velmora
