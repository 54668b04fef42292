#include "platform/activation_context.h"

#include <gtest/gtest.h>

#include "platform/library.h"
#include "ui/resources/resource_ids.h"

namespace velmora {
namespace {

HANDLE currentContext() {
    HANDLE context = nullptr;
    GetCurrentActCtx(&context);
    if (context != nullptr) ReleaseActCtx(context);
    return context;
}

TEST(ActivationContext, IsCurrentForItsLifetimeOnly) {
    const HANDLE before = currentContext();
    {
        const ActivationContext look(currentModule(), IDM_VISUAL_STYLES);
        EXPECT_TRUE(look.active());
        EXPECT_NE(currentContext(), before);
        const ActivationContext nested(currentModule(), IDM_VISUAL_STYLES);
        EXPECT_TRUE(nested.active());
    }
    EXPECT_EQ(currentContext(), before);
}

TEST(ActivationContext, WithoutTheManifestChangesNothing) {
    const HANDLE before = currentContext();
    const ActivationContext look(currentModule(), 4711);
    EXPECT_FALSE(look.active());
    EXPECT_EQ(currentContext(), before);
}

}  // namespace
}  // namespace velmora
