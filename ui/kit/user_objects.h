#pragma once

#include <windows.h>

#include <commctrl.h>

#include "platform/handle.h"

namespace velmora {

struct MenuTraits {
    using Type = HMENU;
    static Type empty() noexcept { return nullptr; }
    static void close(Type menu) noexcept { DestroyMenu(menu); }
};
using UniqueMenu = UniqueHandle<MenuTraits>;

struct BitmapTraits {
    using Type = HBITMAP;
    static Type empty() noexcept { return nullptr; }
    static void close(Type bitmap) noexcept { DeleteObject(bitmap); }
};
using UniqueBitmap = UniqueHandle<BitmapTraits>;

struct FontTraits {
    using Type = HFONT;
    static Type empty() noexcept { return nullptr; }
    static void close(Type font) noexcept { DeleteObject(font); }
};
using UniqueFont = UniqueHandle<FontTraits>;

struct CursorTraits {
    using Type = HCURSOR;
    static Type empty() noexcept { return nullptr; }
    static void close(Type cursor) noexcept { DestroyCursor(cursor); }
};
using UniqueCursor = UniqueHandle<CursorTraits>;

struct ImageListTraits {
    using Type = HIMAGELIST;
    static Type empty() noexcept { return nullptr; }
    static void close(Type images) noexcept { ImageList_Destroy(images); }
};
using UniqueImageList = UniqueHandle<ImageListTraits>;

}  // namespace velmora
