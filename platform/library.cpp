#include "platform/library.h"

namespace velmora {

HMODULE currentModule() noexcept {
    HMODULE module = nullptr;
    GetModuleHandleExA(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        reinterpret_cast<LPCSTR>(&currentModule), &module);
    return module;
}

}  // namespace velmora
