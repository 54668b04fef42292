#include "port/delivery_directory.h"

#include <windows.h>

#include <sddl.h>

#include "platform/handle.h"
#include "platform/profile_file.h"

namespace velmora {
namespace {

// Full access for administrators and the system, for what is in it too, and nothing inherited.
constexpr char kRights[] = "D:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)";

std::uint32_t makeDirectory(const std::string& path, SECURITY_ATTRIBUTES* rights) {
    if (CreateDirectoryA(path.c_str(), rights)) return ERROR_SUCCESS;
    const DWORD error = GetLastError();
    return error == ERROR_ALREADY_EXISTS ? ERROR_SUCCESS : error;
}

}  // namespace

std::string deliveryDirectory() {
    return deliveryDirectory(systemDirectory());
}

std::string deliveryDirectory(const std::string& systemDirectory) {
    return systemDirectory + "\\spool\\Velmora";
}

std::uint32_t makeDeliveryDirectory() {
    return makeDeliveryDirectory(systemDirectory());
}

std::uint32_t makeDeliveryDirectory(const std::string& systemDirectory) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorA(kRights, SDDL_REVISION_1, &descriptor,
                                                              nullptr)) {
        return GetLastError();
    }
    const UniqueLocalMemory owner(descriptor);
    SECURITY_ATTRIBUTES rights{sizeof rights, descriptor, FALSE};
    // The spooler's own directory is there on Windows; elsewhere it gets the rights of its parent.
    const std::uint32_t error = makeDirectory(systemDirectory + "\\spool", nullptr);
    return error != ERROR_SUCCESS ? error
                                  : makeDirectory(deliveryDirectory(systemDirectory), &rights);
}

}  // namespace velmora
