#include "port/entry_guard.h"

#include "port/xcv_client.h"

namespace velmora {

DWORD caughtErrorCode() noexcept {
    try {
        throw;
    } catch (const XcvException& failure) {
        return failure.code();
    } catch (...) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

}  // namespace velmora
