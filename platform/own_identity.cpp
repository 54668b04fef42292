#include "platform/own_identity.h"

namespace velmora {

OwnIdentity::OwnIdentity() noexcept {
    // Callers' contracts say when the last error is set.
    const DWORD error = GetLastError();
    // As the process, since the impersonated user need not be allowed to open the token.
    if (!OpenThreadToken(GetCurrentThread(), TOKEN_IMPERSONATE | TOKEN_QUERY, TRUE, token_.put())) {
        // If it cannot be removed the thread goes on as the user, with no more than the user's
        // rights.
        if (!SetThreadToken(nullptr, nullptr)) token_.reset();
    }
    SetLastError(error);
}

OwnIdentity::~OwnIdentity() {
    if (token_) SetThreadToken(nullptr, token_.get());
}

}  // namespace velmora
