#include "harness/wininet/import_patch.h"

#include <windows.h>

#include <algorithm>
#include <stdexcept>
#include <string>

namespace velmora::testing {
namespace {

template <class T>
T* at(const void* base, DWORD offset) {
    return reinterpret_cast<T*>(static_cast<char*>(const_cast<void*>(base)) + offset);
}

/// The place in the module's import table that holds the function's address (PE format, "The
/// .idata section"); null when there is none.
void** findImport(const char* library, const char* function, HMODULE module) {
    const void* base = module == nullptr ? GetModuleHandleA(nullptr) : module;
    const auto* headers =
        at<IMAGE_NT_HEADERS>(base, static_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
    const DWORD table =
        headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    for (auto* library_ = at<IMAGE_IMPORT_DESCRIPTOR>(base, table); library_->Name != 0;
         ++library_) {
        if (lstrcmpiA(at<char>(base, library_->Name), library) != 0) continue;
        auto* name = at<IMAGE_THUNK_DATA>(base, library_->OriginalFirstThunk);
        auto* address = at<void*>(base, library_->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++address) {
            if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
            const auto* entry =
                at<IMAGE_IMPORT_BY_NAME>(base, static_cast<DWORD>(name->u1.AddressOfData));
            if (std::string(reinterpret_cast<const char*>(entry->Name)) == function) return address;
        }
    }
    return nullptr;
}

void writeImport(void** entry, void* value) {
    DWORD protection = 0;
    VirtualProtect(entry, sizeof *entry, PAGE_READWRITE, &protection);
    *entry = value;
    VirtualProtect(entry, sizeof *entry, protection, &protection);
}

void WINAPI shortSleep(DWORD milliseconds) {
    SleepEx(std::min<DWORD>(milliseconds, 10), FALSE);
}

void WINAPI sleepNoTime(DWORD) {
    SleepEx(0, FALSE);
}

DWORD WINAPI waitShortly(HANDLE object, DWORD milliseconds) {
    if (milliseconds != INFINITE) milliseconds = std::min<DWORD>(milliseconds, 5);
    return WaitForSingleObjectEx(object, milliseconds, FALSE);
}

}  // namespace

ImportPatch::ImportPatch(const char* library, const char* function, void (*replacement)(),
                         HMODULE module, void** original)
    : entry_(findImport(library, function, module)) {
    if (entry_ == nullptr) throw std::runtime_error(std::string("not imported: ") + function);
    original_ = *entry_;
    if (original != nullptr) *original = original_;
    writeImport(entry_, reinterpret_cast<void*>(replacement));
}

ImportPatch::~ImportPatch() {
    writeImport(entry_, original_);
}

ShortPauses::ShortPauses(HMODULE module)
    : patch_("KERNEL32.dll", "Sleep", reinterpret_cast<void (*)()>(&shortSleep), module) {}

NoPauses::NoPauses(HMODULE module)
    : sleep_("KERNEL32.dll", "Sleep", reinterpret_cast<void (*)()>(&sleepNoTime), module),
      wait_("KERNEL32.dll", "WaitForSingleObject", reinterpret_cast<void (*)()>(&waitShortly),
            module) {}

}  // namespace velmora::testing
