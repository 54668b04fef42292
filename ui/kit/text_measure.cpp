#include "ui/kit/text_measure.h"

namespace velmora {

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

}  // namespace velmora
