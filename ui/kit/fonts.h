#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "ui/kit/user_objects.h"

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

/// A dialog's template for this screen. The font that our resources name is a bitmap font: on a
/// screen of more than 96 dots per inch it is coarse, and its dialog units are not those by which a
/// property sheet sizes its pages, so that pages would be cut. There the template names "MS Shell
/// Dlg", which every system has as an outline font with the same proportions.
class DialogTemplate {
  public:
    /// A dialog resource of this module, made without DIALOGEX.
    explicit DialogTemplate(int resource);

    /// Null if there is no such resource. Lives as long as this object.
    const DLGTEMPLATE* get() const noexcept;

  private:
    const DLGTEMPLATE* resource_;
    std::vector<WORD> changed_;
};

/// The font of a dialog's controls. The one that the dialog's resource names is a bitmap font on
/// some systems, and may have no characters of the code page that all our texts are in.
class DialogFont {
  public:
    /// For a dialog whose controls exist: gives them the platform's own font, in the height of the
    /// dialog's, where the dialog's font lacks the system's characters. The object must outlive the
    /// controls.
    void adapt(HWND dialog);

  private:
    UniqueFont font_;
};

}  // namespace velmora
