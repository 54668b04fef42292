#pragma once

#include "platform/handle.h"

namespace velmora::ctl {

struct LocalMemoryTraits {
    using Type = void*;
    static Type empty() noexcept { return nullptr; }
    static void close(Type memory) noexcept { LocalFree(memory); }
};
/// Memory that an API hands out to be freed with LocalFree.
using UniqueLocalMemory = UniqueHandle<LocalMemoryTraits>;

}  // namespace velmora::ctl
