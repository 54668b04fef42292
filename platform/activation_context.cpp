#include "platform/activation_context.h"

#include <array>

#include "platform/library.h"

namespace velmora {
namespace {

/// Looked up at run time: systems before Windows XP do not have them.
struct ActivationFunctions {
    HMODULE kernel = GetModuleHandleA("kernel32.dll");
    decltype(&CreateActCtxA) create =
        librarySymbol<decltype(&CreateActCtxA)>(kernel, "CreateActCtxA");
    decltype(&ReleaseActCtx) release =
        librarySymbol<decltype(&ReleaseActCtx)>(kernel, "ReleaseActCtx");
    decltype(&ActivateActCtx) activate =
        librarySymbol<decltype(&ActivateActCtx)>(kernel, "ActivateActCtx");
    decltype(&DeactivateActCtx) deactivate =
        librarySymbol<decltype(&DeactivateActCtx)>(kernel, "DeactivateActCtx");

    bool complete() const noexcept { return create && release && activate && deactivate; }
};

const ActivationFunctions& functions() noexcept {
    static const ActivationFunctions table;
    return table;
}

}  // namespace

ActivationContext::ActivationContext(HMODULE module, int manifestResource) noexcept {
    if (!functions().complete()) return;
    std::array<char, MAX_PATH> path{};
    GetModuleFileNameA(module, path.data(), static_cast<DWORD>(path.size() - 1));
    ACTCTXA description{};
    description.cbSize = sizeof description;
    description.dwFlags = ACTCTX_FLAG_HMODULE_VALID | ACTCTX_FLAG_RESOURCE_NAME_VALID;
    description.lpSource = path.data();
    description.lpResourceName = MAKEINTRESOURCEA(manifestResource);
    description.hModule = module;
    context_ = functions().create(&description);
    if (context_ != INVALID_HANDLE_VALUE && !functions().activate(context_, &cookie_)) cookie_ = 0;
}

ActivationContext::~ActivationContext() {
    if (cookie_ != 0) functions().deactivate(0, cookie_);
    if (context_ != INVALID_HANDLE_VALUE) functions().release(context_);
}

}  // namespace velmora
