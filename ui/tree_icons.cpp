#include "ui/tree_icons.h"

#include "platform/library.h"
#include "ui/resources/resource_ids.h"

namespace velmora {
namespace {

UniqueBitmap loadBitmap(int id) {
    // As a DIB section the strip keeps its 32 bits on a screen of any depth.
    return UniqueBitmap(static_cast<HBITMAP>(LoadImageA(currentModule(), MAKEINTRESOURCEA(id),
                                                        IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION)));
}

}  // namespace

TreeIcons::TreeIcons() : list_(ImageList_Create(16, 16, ILC_COLOR32 | ILC_MASK, 8, 8)) {
    if (!list_) return;
    const UniqueBitmap strip = loadBitmap(IDB_GROUPS_IMAGES);
    const UniqueBitmap mask = loadBitmap(IDB_GROUPS_MASK);
    ImageList_Add(list_.get(), strip.get(), mask.get());
}

}  // namespace velmora
