#include "platform/own_identity.h"

namespace velmora {

OwnIdentity::OwnIdentity() noexcept {
    // As the process, since the impersonated user need not be allowed to open the token.
    if (!OpenThreadToken(GetCurrentThread(), TOKEN_IMPERSONATE | TOKEN_QUERY, TRUE, token_.put()))
        return;
    // If it cannot be taken off the thread goes on as the user, and is refused what he is refused.
    if (!SetThreadToken(nullptr, nullptr)) token_.reset();
}

OwnIdentity::~OwnIdentity() {
    if (token_) SetThreadToken(nullptr, token_.get());
}

}  // namespace velmora
