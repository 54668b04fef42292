#include "ui/kit/fonts.h"

#include <optional>
#include <string_view>

#include "platform/library.h"
#include "ui/kit/window.h"

namespace velmora {
namespace {

/// None for a code page without a character set of its own, such as UTF-8.
std::optional<BYTE> charsetOfSystem() {
    CHARSETINFO info{};
    // With this flag the first argument is not a pointer but the code page itself.
    const auto codePage = reinterpret_cast<DWORD*>(static_cast<UINT_PTR>(GetACP()));
    if (!TranslateCharsetInfo(codePage, &info, TCI_SRCCODEPAGE)) return std::nullopt;
    return static_cast<BYTE>(info.ciCharset);
}

LOGFONTA describe(HGDIOBJ font) {
    LOGFONTA description{};
    GetObjectA(font, sizeof description, &description);
    return description;
}

const DLGTEMPLATE* loadTemplate(int resource, std::size_t& words) {
    const HINSTANCE module = currentModule();
    const HRSRC found = FindResourceA(module, MAKEINTRESOURCEA(resource), RT_DIALOG);
    if (found == nullptr) return nullptr;
    words = SizeofResource(module, found) / sizeof(WORD);
    return static_cast<const DLGTEMPLATE*>(LockResource(LoadResource(module, found)));
}

/// The position after a template's menu, class or title at `at`: an ordinal, or a text with its
/// terminator.
std::size_t skipName(const WORD* words, std::size_t at) {
    if (words[at] == 0xFFFF) return at + 2;
    while (words[at] != 0)
        ++at;
    return at + 1;
}

/// Controls begin at a multiple of four bytes.
std::size_t aligned(std::size_t words) {
    return words + words % 2;
}

/// The template with another font face (DLGTEMPLATE: header, menu, class, title, size, face).
std::vector<WORD> withFace(const WORD* words, std::size_t count, std::wstring_view face) {
    std::size_t at = sizeof(DLGTEMPLATE) / sizeof(WORD);
    for (int i = 0; i < 3; ++i)
        at = skipName(words, at);
    ++at;  // the size in points
    std::vector<WORD> changed(words, words + at);
    changed.insert(changed.end(), face.begin(), face.end());
    changed.push_back(0);
    changed.resize(aligned(changed.size()));
    changed.insert(changed.end(), words + aligned(skipName(words, at)), words + count);
    return changed;
}

}  // namespace

DialogTemplate::DialogTemplate(int resource) {
    constexpr int kAnyLength = 96;
    std::size_t words = 0;
    resource_ = loadTemplate(resource, words);
    if (resource_ != nullptr && (resource_->style & DS_SETFONT) != 0 &&
        scaledPixels(kAnyLength) > kAnyLength)
        changed_ = withFace(reinterpret_cast<const WORD*>(resource_), words, L"MS Shell Dlg");
}

const DLGTEMPLATE* DialogTemplate::get() const noexcept {
    return changed_.empty() ? resource_ : reinterpret_cast<const DLGTEMPLATE*>(changed_.data());
}

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
