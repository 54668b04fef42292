#include "platform/library.h"

namespace velmora {
namespace {

HMODULE findCurrentModule(DWORD flags) noexcept {
    HMODULE module = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | flags,
                       reinterpret_cast<LPCSTR>(&currentModule), &module);
    return module;
}

}  // namespace

HMODULE currentModule() noexcept {
    return findCurrentModule(GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT);
}

UniqueModule referToCurrentModule() noexcept {
    return UniqueModule(findCurrentModule(0));
}

}  // namespace velmora
