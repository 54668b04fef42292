#pragma once

#include <windows.h>

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "harness/built_dll.h"

namespace velmora::testing {

/// The library in this process, which can be unloaded and loaded again. Loading and unloading are
/// for one thread at a time; the entries may be called by any.
class LoadedMonitor {
  public:
    using Block = std::vector<std::byte>;

    LoadedMonitor() { load(); }
    ~LoadedMonitor() { unload(); }
    LoadedMonitor(const LoadedMonitor&) = delete;
    LoadedMonitor& operator=(const LoadedMonitor&) = delete;

    void load() {
        module_ = LoadLibraryA("Velmora.dll");
        monitor_.emplace(symbol<const void*(WINAPI*)(void*, HANDLE*)>("InitializePrintMonitor2")(
                             nullptr, nullptr),
                         1);
        ui_.emplace(symbol<const void*(WINAPI*)()>("InitializePrintMonitorUI")(), 1);
    }

    /// Whether it was unloaded in time: its own threads may hold it for a moment.
    bool unload() {
        FreeLibrary(module_);
        for (int i = 0; i < 3000 && GetModuleHandleA("Velmora.dll") != nullptr; ++i)
            Sleep(10);
        return GetModuleHandleA("Velmora.dll") == nullptr;
    }

    template <class Function>
    Function monitor(int slot) const {
        return monitor_->entry<Function>(slot);
    }
    template <class Function>
    Function ui(int slot) const {
        return ui_->entry<Function>(slot);
    }

    /// XcvDataPort; `output` becomes what comes back, however long it is.
    DWORD xcv(const wchar_t* command, const void* input, std::size_t size,
              Block* output = nullptr) const {
        const auto call = monitor<XcvDataPortEntry>(16);
        DWORD needed = 0;
        DWORD status = call(nullptr, command, input, static_cast<DWORD>(size), nullptr, 0, &needed);
        // Somebody else may have made it larger by then.
        for (int i = 0; i < 100 && output != nullptr && status == ERROR_INSUFFICIENT_BUFFER; ++i) {
            output->resize(needed);
            status = call(nullptr, command, input, static_cast<DWORD>(size), output->data(), needed,
                          &needed);
        }
        return status;
    }
    DWORD xcv(const wchar_t* command, const Block& input) const {
        return xcv(command, input.data(), input.size());
    }
    /// For the commands whose input is a port's name.
    DWORD xcv(const wchar_t* command, const std::wstring& name) const {
        return xcv(command, name.c_str(), (name.size() + 1) * sizeof name[0]);
    }

  private:
    template <class Function>
    Function symbol(const char* name) const {
        return reinterpret_cast<Function>(
            reinterpret_cast<void (*)()>(GetProcAddress(module_, name)));
    }

    HMODULE module_ = nullptr;
    std::optional<Table> monitor_;
    std::optional<Table> ui_;
};

}  // namespace velmora::testing
