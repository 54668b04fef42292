#pragma once

#include <windows.h>

#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace velmora::testing {

// The resources of a built module, decoded for comparing them field by field.

struct ControlResource {
    int id = 0;  ///< -1 for controls without one
    std::string windowClass;
    std::string text;
    DWORD style = 0;
    DWORD extendedStyle = 0;
    RECT place{};  ///< dialog units
};

struct DialogResource {
    DWORD style = 0;
    int width = 0;  ///< dialog units
    int height = 0;
    std::string caption;
    int fontSize = 0;  ///< points
    std::string font;
    std::vector<ControlResource> controls;  ///< in tab order

    /// The only control of that id; fails the test and returns an empty one otherwise.
    const ControlResource& control(int id) const;
    /// The letters after single "&" in the controls' texts, in order and in lower case.
    std::string mnemonics() const;
};

struct MenuItemResource {
    std::string text;  ///< empty for a separator
    int id = 0;        ///< 0 for popups and separators
    int flags = 0;     ///< MF_GRAYED, MF_POPUP..., without MF_END
    std::vector<MenuItemResource> items;
};

struct AcceleratorResource {
    int flags = 0;  ///< FVIRTKEY, FCONTROL..., without the mark of the last entry
    int key = 0;
    int command = 0;
};

std::optional<DialogResource> readDialog(HMODULE module, int id);
std::optional<std::vector<MenuItemResource>> readMenu(HMODULE module, int id);
std::optional<std::vector<AcceleratorResource>> readAccelerators(HMODULE module, int id);
/// All entries of the string table that are not empty.
std::map<int, std::string> readStrings(HMODULE module);
/// The bytes of any resource, valid while the module is loaded; empty if there is none.
std::span<const std::byte> readResource(HMODULE module, const char* type, int id);

}  // namespace velmora::testing
