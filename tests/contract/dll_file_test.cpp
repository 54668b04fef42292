#include <algorithm>
#include <filesystem>
#include <set>

#include "harness/built_dll.h"

namespace velmora::testing {
namespace {

/// The library mapped as an image whose headers can be read, without running any of it.
class MappedImage {
  public:
    explicit MappedImage(const std::string& path)
        : module_(LoadLibraryExA(path.c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES)) {}
    ~MappedImage() { FreeLibrary(module_); }
    MappedImage(const MappedImage&) = delete;
    MappedImage& operator=(const MappedImage&) = delete;

    template <class T>
    const T* at(DWORD rva) const {
        return reinterpret_cast<const T*>(reinterpret_cast<const BYTE*>(module_) + rva);
    }
    const IMAGE_NT_HEADERS& headers() const {
        return *at<IMAGE_NT_HEADERS>(static_cast<DWORD>(at<IMAGE_DOS_HEADER>(0)->e_lfanew));
    }
    template <class T>
    const T* directory(int index) const {
        return at<T>(headers().OptionalHeader.DataDirectory[index].VirtualAddress);
    }

    std::set<std::string> exports() const {
        const auto* table = directory<IMAGE_EXPORT_DIRECTORY>(IMAGE_DIRECTORY_ENTRY_EXPORT);
        EXPECT_EQ(table->NumberOfFunctions, table->NumberOfNames) << "no export by ordinal alone";
        std::set<std::string> names;
        const auto* rvas = at<DWORD>(table->AddressOfNames);
        for (DWORD i = 0; i < table->NumberOfNames; ++i)
            names.insert(at<char>(rvas[i]));
        return names;
    }

    std::set<std::string> importedLibraries() const {
        std::set<std::string> names;
        for (const auto* entry = directory<IMAGE_IMPORT_DESCRIPTOR>(IMAGE_DIRECTORY_ENTRY_IMPORT);
             entry->Name != 0; ++entry) {
            std::string name = at<char>(entry->Name);
            for (char& c : name)
                c = static_cast<char>(std::tolower(c));
            names.insert(name);
        }
        return names;
    }

  private:
    HMODULE module_;
};

TEST(DllFile, ExportsTheFourInitialisersUndecoratedAndNothingElse) {
    const std::set<std::string> expected{"InitializePrintMonitor2", "InitializePrintMonitor",
                                         "InitializeMonitorEx", "InitializePrintMonitorUI"};
    EXPECT_EQ(MappedImage(BuiltDll().path()).exports(), expected);
}

TEST(DllFile, ImportsOnlyWindowsOwnLibrariesAndNotTheSpooler) {
    const std::set<std::string> windows{"advapi32.dll", "comctl32.dll", "gdi32.dll",
                                        "kernel32.dll", "msvcrt.dll",   "shlwapi.dll",
                                        "user32.dll",   "wininet.dll",  "ws2_32.dll"};
    for (const std::string& library : MappedImage(BuiltDll().path()).importedLibraries())
        EXPECT_TRUE(windows.count(library)) << library;
}

TEST(DllFile, IsOfTheRightKindAndSize) {
    const std::string path = BuiltDll().path();
    const IMAGE_NT_HEADERS& headers = MappedImage(path).headers();
    EXPECT_EQ(headers.FileHeader.Machine,
              sizeof(void*) == 4 ? IMAGE_FILE_MACHINE_I386 : IMAGE_FILE_MACHINE_AMD64);
    EXPECT_TRUE(headers.FileHeader.Characteristics & IMAGE_FILE_DLL);
    // The limit is the 32-bit product's; the same source needs a little more in 64 bits.
    EXPECT_LE(std::filesystem::file_size(path), (sizeof(void*) == 4 ? 600u : 800u) * 1024);
}

TEST(DllFile, CarriesAVersionResource) {
    const BuiltDll dll;
    const HRSRC resource = FindResourceA(dll.module(), MAKEINTRESOURCEA(1), RT_VERSION);
    ASSERT_NE(resource, nullptr);
    const auto* data = static_cast<const BYTE*>(LockResource(LoadResource(dll.module(), resource)));
    const BYTE* const end = data + SizeofResource(dll.module(), resource);
    const DWORD signature = VS_FFI_SIGNATURE;
    const auto* bytes = reinterpret_cast<const BYTE*>(&signature);
    const BYTE* const fixed = std::search(data, end, bytes, bytes + sizeof signature);
    ASSERT_NE(fixed, end);
    const auto* info = reinterpret_cast<const VS_FIXEDFILEINFO*>(fixed);
    EXPECT_EQ(info->dwFileType, static_cast<DWORD>(VFT_DLL));
    EXPECT_EQ(HIWORD(info->dwFileVersionMS), 1);
}

}  // namespace
}  // namespace velmora::testing
