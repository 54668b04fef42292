#pragma once

#include <windows.h>

#include <commctrl.h>

#include "platform/handle.h"

namespace velmora {

using UniqueBitmap = UniqueHandle<HBITMAP, DeleteObject>;
using UniqueCursor = UniqueHandle<HCURSOR, DestroyCursor>;
using UniqueFont = UniqueHandle<HFONT, DeleteObject>;
using UniqueImageList = UniqueHandle<HIMAGELIST, ImageList_Destroy>;
using UniqueMenu = UniqueHandle<HMENU, DestroyMenu>;

}  // namespace velmora
