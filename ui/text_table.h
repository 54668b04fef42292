#pragma once

#include <windows.h>

#include <cstddef>
#include <span>
#include <string>

#include "platform/profile_file.h"

namespace velmora {

/// The interface's texts of one dialog or page: one section of the settings file, where a
/// translator replaces them and where missing texts are entered when they are looked up. Nothing is
/// cached: a change of the file shows in the next dialog. A returned text must not be looked up
/// again, since it would be entered into the file as another text.
class CTextTable {
  public:
    CTextTable(std::string path, std::string section)
        : file_(std::move(path)), section_(std::move(section)) {}
    /// A section of the product's settings file.
    explicit CTextTable(std::string section);

    /// The text to show for `text` (lookupText in platform/profile_file.h).
    std::string Lookup(const std::string& text) const { return lookupText(file_, section_, text); }

    /// The same for a long text, which has a key of its own that is not a text.
    std::string Lookup(const std::string& key, const std::string& text) const {
        return lookupText(file_, section_, key, text);
    }

    /// Replaces the title of `window`, and the texts of those of its direct children that are
    /// statics or buttons (group boxes, check boxes and radio buttons are buttons).
    void TranslateWindow(HWND window) const;

    /// Replaces the texts of `menu` and of all popups below it. Popups, command ids and states
    /// stay; separators are left alone.
    void TranslateMenu(HMENU menu) const;

  private:
    ProfileFile file_;
    std::string section_;
};

/// String-table entry `id` as it is in the resources; empty if there is none.
std::string loadResourceText(UINT id);

/// String-table entry `id`, looked up in section "Strings".
std::string LoadMessage(UINT id);

/// A text of section "Strings" that is in no string table.
std::string lookupString(const std::string& text);

/// The same in UTF-16: writes as much as fits and a terminator into `area`, which must not be
/// empty, and returns the length without the terminator.
std::size_t lookupString(const std::string& text, std::span<wchar_t> area);

/// What message boxes have as title: the translated title of the port sheets.
std::string interfaceTitle();

}  // namespace velmora
