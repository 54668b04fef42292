#pragma once

#include <windows.h>

#include <string>

namespace velmora {

/// Measures text in a control's own font, in pixels.
class TextMeasure {
  public:
    explicit TextMeasure(HWND control);
    TextMeasure(const TextMeasure&) = delete;
    TextMeasure& operator=(const TextMeasure&) = delete;
    ~TextMeasure();

    int width(const std::string& text) const;
    int averageCharWidth() const;
    /// The character set that the font was chosen with (SHIFTJIS_CHARSET...).
    int charset() const;

  private:
    HWND control_;
    HDC context_;
    HGDIOBJ previousFont_ = nullptr;
};

}  // namespace velmora
