#include "port/configuration_lock.h"

// After windows.h.
#include <sddl.h>

namespace velmora {
namespace {

constexpr char kMutex[] = "Global\\Velmora configuration";
constexpr char kDialog[] = "Global\\Velmora port dialog";

/// Everybody who may configure may use the objects, whoever has created them: the system and the
/// administrators.
class SharedWithAdministrators {
  public:
    SharedWithAdministrators() {
        if (!ConvertStringSecurityDescriptorToSecurityDescriptorA(
                "D:(A;;GA;;;SY)(A;;GA;;;BA)", SDDL_REVISION_1, &attributes_.lpSecurityDescriptor,
                nullptr)) {
            attributes_.lpSecurityDescriptor = nullptr;
        }
        descriptor_.reset(attributes_.lpSecurityDescriptor);
    }

    SECURITY_ATTRIBUTES* get() noexcept { return &attributes_; }

  private:
    SECURITY_ATTRIBUTES attributes_{sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
    UniqueLocalMemory descriptor_;
};

}  // namespace

ConfigurationLock::ConfigurationLock(std::chrono::milliseconds longest) {
    SharedWithAdministrators rights;
    mutex_.reset(CreateMutexA(rights.get(), FALSE, kMutex));
    if (!mutex_) return;
    const DWORD waited = WaitForSingleObject(mutex_.get(), static_cast<DWORD>(longest.count()));
    // Abandoned: its owner has ended without releasing it; it is ours all the same.
    held_ = waited == WAIT_OBJECT_0 || waited == WAIT_ABANDONED;
}

ConfigurationLock::~ConfigurationLock() {
    if (held_) ReleaseMutex(mutex_.get());
}

OpenDialogMark::OpenDialogMark() {
    SharedWithAdministrators rights;
    event_.reset(CreateEventA(rights.get(), TRUE, FALSE, kDialog));
}

bool OpenDialogMark::exists() {
    const UniqueEvent event(OpenEventA(SYNCHRONIZE, FALSE, kDialog));
    // Access denied means that it exists.
    return static_cast<bool>(event) || GetLastError() == ERROR_ACCESS_DENIED;
}

}  // namespace velmora
