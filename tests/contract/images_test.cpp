// The delivered files as they are on the disk: the protections that they ask the system for, and
// their imports.
#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

std::filesystem::path programFolder() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::filesystem::path(path).parent_path();
}

/// A PE file, read and not loaded.
class Image {
  public:
    explicit Image(const char* name) {
        std::ifstream file(programFolder() / name, std::ios::binary);
        bytes_.assign(std::istreambuf_iterator<char>(file), {});
        EXPECT_GT(bytes_.size(), 1000u) << name;
    }

    const std::string& bytes() const { return bytes_; }
    template <class T>
    const T* at(std::size_t offset) const {
        if (offset + sizeof(T) > bytes_.size()) throw std::runtime_error("offset beyond the file");
        return reinterpret_cast<const T*>(bytes_.data() + offset);
    }
    const IMAGE_NT_HEADERS& headers() const {
        return *at<IMAGE_NT_HEADERS>(static_cast<std::size_t>(at<IMAGE_DOS_HEADER>(0)->e_lfanew));
    }
    std::vector<IMAGE_SECTION_HEADER> sections() const {
        const auto* first = IMAGE_FIRST_SECTION(&headers());
        return {first, first + headers().FileHeader.NumberOfSections};
    }
    /// Where in the file the image's address `rva` lies.
    std::size_t offset(DWORD rva) const {
        for (const IMAGE_SECTION_HEADER& section : sections())
            if (rva >= section.VirtualAddress &&
                rva < section.VirtualAddress + section.SizeOfRawData)
                return rva - section.VirtualAddress + section.PointerToRawData;
        throw std::runtime_error("address outside of the sections");
    }
    std::set<std::string> importedLibraries() const {
        std::set<std::string> names;
        const DWORD table =
            headers().OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
        for (std::size_t entry = offset(table);; entry += sizeof(IMAGE_IMPORT_DESCRIPTOR)) {
            const auto* import = at<IMAGE_IMPORT_DESCRIPTOR>(entry);
            if (import->Name == 0) return names;
            std::string name = at<char>(offset(import->Name));
            std::ranges::transform(name, name.begin(),
                                   [](unsigned char c) { return std::tolower(c); });
            names.insert(name);
        }
    }

  private:
    std::string bytes_;
};

class DeliveredImage : public ::testing::TestWithParam<const char*> {
  protected:
    const Image image_{GetParam()};
};

TEST_P(DeliveredImage, AsksForRandomAddressesAndForDataThatDoesNotRun) {
    const WORD wanted = image_.headers().OptionalHeader.DllCharacteristics;
    EXPECT_TRUE(wanted & IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE);
    EXPECT_TRUE(wanted & IMAGE_DLLCHARACTERISTICS_NX_COMPAT);
    if (sizeof(void*) == 8) {
        EXPECT_TRUE(wanted & 0x20) << "IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA";
    } else {
        EXPECT_TRUE(wanted & IMAGE_DLLCHARACTERISTICS_NO_SEH);
    }
    // Without relocations no address is random.
    EXPECT_FALSE(image_.headers().FileHeader.Characteristics & IMAGE_FILE_RELOCS_STRIPPED);
    EXPECT_GT(image_.headers().OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_BASERELOC].Size,
              100u);
}

TEST_P(DeliveredImage, HasNoSectionThatIsBothWritableAndExecutable) {
    bool executable = false;
    for (const IMAGE_SECTION_HEADER& section : image_.sections()) {
        const bool runs = (section.Characteristics & IMAGE_SCN_MEM_EXECUTE) != 0;
        executable |= runs;
        EXPECT_FALSE(runs && (section.Characteristics & IMAGE_SCN_MEM_WRITE))
            << std::string(reinterpret_cast<const char*>(section.Name), 8);
    }
    EXPECT_TRUE(executable) << "no code was looked at";
}

TEST_P(DeliveredImage, IsStripped) {
    EXPECT_EQ(image_.headers().FileHeader.NumberOfSymbols, 0u);
    for (const IMAGE_SECTION_HEADER& section : image_.sections())
        EXPECT_THAT(std::string(reinterpret_cast<const char*>(section.Name), 8),
                    Not(HasSubstr("debug")));
}

TEST_P(DeliveredImage, NamesNoFolderOfTheMachineThatBuiltIt) {
    for (const char* folder :
         {VELMORA_SOURCE_FOLDER, VELMORA_BUILD_FOLDER, "/home/", "/root/", "/tmp/", "/usr/"})
        EXPECT_EQ(image_.bytes().find(folder), std::string::npos) << folder;
}

// Protected functions call the handler of an overwritten stack. That it ends the process is not
// tried: under Wine a process that waits learns of such an end late or never.
TEST_P(DeliveredImage, ProtectsItsStacks) {
    // mov ecx, 2 (FAST_FAIL_STACK_COOKIE_CHECK_FAILURE); int 0x29 (__fastfail)
    constexpr std::string_view kWayOut("\xB9\x02\0\0\0\xCD\x29", 7);
    const std::size_t wayOut = image_.bytes().find(kWayOut);
    ASSERT_NE(wayOut, std::string::npos);
    const auto sections = image_.sections();
    const auto code = std::ranges::find_if(sections, [&](const IMAGE_SECTION_HEADER& section) {
        return wayOut >= section.PointerToRawData &&
               wayOut < section.PointerToRawData + section.SizeOfRawData;
    });
    ASSERT_NE(code, sections.end());
    // A relative call (E8) and the distance from its end; the way out may begin with a prologue.
    int calls = 0;
    const std::size_t end = code->PointerToRawData + code->SizeOfRawData;
    for (std::size_t at = code->PointerToRawData; at + 5 <= end; ++at) {
        if (*image_.at<unsigned char>(at) != 0xE8) continue;
        std::int32_t distance = 0;
        std::memcpy(&distance, image_.at<char>(at + 1), sizeof distance);
        const auto target = static_cast<std::int64_t>(at) + 5 + distance;
        const auto before = static_cast<std::int64_t>(wayOut) - target;
        if (before >= 0 && before <= 16) ++calls;
    }
    EXPECT_GT(calls, 100);
    RecordProperty("protected", calls);
}

INSTANTIATE_TEST_SUITE_P(Files, DeliveredImage, ::testing::Values("Velmora.dll", "velmoractl.exe"),
                         [](const auto& info) {
                             return std::string(info.param).substr(0, 7) == "Velmora" ? "Library"
                                                                                      : "Tool";
                         });

// Windows loads these from its own directory whatever is beside a program (KnownDLLs), in all
// versions from 7 to 11.
TEST(ToolImage, ImportsOnlyLibrariesThatNobodyCanPutBesideIt) {
    const std::set<std::string> known{
        "advapi32.dll", "clbcatq.dll", "comdlg32.dll", "difxapi.dll",  "gdi32.dll",
        "imagehlp.dll", "imm32.dll",   "kernel32.dll", "msctf.dll",    "msvcrt.dll",
        "normaliz.dll", "nsi.dll",     "ole32.dll",    "oleaut32.dll", "psapi.dll",
        "rpcrt4.dll",   "sechost.dll", "setupapi.dll", "shell32.dll",  "shlwapi.dll",
        "user32.dll",   "wldap32.dll", "ws2_32.dll"};
    const std::set<std::string> imported = Image("velmoractl.exe").importedLibraries();
    EXPECT_GE(imported.size(), 2u);
    for (const std::string& library : imported)
        EXPECT_TRUE(known.count(library)) << library;
}

/// A folder with the tool and, in the places below, libraries that end whoever loads them.
class PlantedLibraries : public ::testing::Test {
  protected:
    void SetUp() override {
        wchar_t place[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, place);
        static int number = 0;
        folder_ = std::filesystem::path(place) /
                  ("velmora-planted-" + std::to_string(GetCurrentProcessId()) + "-" +
                   std::to_string(++number));
        for (const char* name : {"program", "current", "path"})
            std::filesystem::create_directories(folder_ / name);
        std::filesystem::copy_file(programFolder() / "velmoractl.exe",
                                   folder_ / "program" / "velmoractl.exe");
    }
    void TearDown() override {
        // The platform's background processes may have been started in the current directory, which
        // then stays behind empty.
        for (const char* name : {"program", "current", "path"}) {
            std::error_code error;
            std::filesystem::remove_all(folder_ / name, error);
        }
    }

    void plant(const char* where) {
        // Not version.dll: user32.dll of the tests' platform imports that, Windows's own does not.
        for (const char* name : {"winspool.drv", "wininet.dll", "crypt32.dll", "comctl32.dll",
                                 "unicows.dll", "mpr.dll", "bcrypt.dll"})
            std::filesystem::copy_file(programFolder() / "planted_library.dll",
                                       folder_ / where / name);
    }

    /// The exit code of a program of `program`, started in the folder `current`.
    DWORD run(const std::wstring& program, const std::wstring& words) {
        std::wstring command = L"\"" + (folder_ / "program" / program).wstring() + L"\" " + words;
        wchar_t path[4096] = {};
        GetEnvironmentVariableW(L"PATH", path, 4096);
        SetEnvironmentVariableW(L"PATH", ((folder_ / "path").wstring() + L";" + path).c_str());
        STARTUPINFOW start{};
        start.cb = sizeof start;
        PROCESS_INFORMATION process{};
        const BOOL started =
            CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW,
                           nullptr, (folder_ / "current").c_str(), &start, &process);
        SetEnvironmentVariableW(L"PATH", path);
        EXPECT_TRUE(started);
        if (!started) return 0;
        WaitForSingleObject(process.hProcess, INFINITE);
        DWORD code = 0;
        GetExitCodeProcess(process.hProcess, &code);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
        return code;
    }

    std::filesystem::path folder_;
};

TEST_F(PlantedLibraries, BesideTheToolAreNotRun) {
    plant("program");
    EXPECT_EQ(run(L"velmoractl.exe", L"--version"), 0u);
    EXPECT_EQ(run(L"velmoractl.exe", L"probe ipp://127.0.0.1:1/ipp/print"), 7u);
}

TEST_F(PlantedLibraries, InTheCurrentDirectoryAndInPathAreNotRun) {
    plant("current");
    plant("path");
    EXPECT_EQ(run(L"velmoractl.exe", L"--version"), 0u);
    EXPECT_EQ(run(L"velmoractl.exe", L"probe ipp://127.0.0.1:1/ipp/print"), 7u);
}

/// On a system without unicows.dll, like every current Windows.
class PlantedUnicows : public PlantedLibraries {
  protected:
    void SetUp() override {
        wchar_t system[MAX_PATH] = {};
        GetSystemDirectoryW(system, MAX_PATH);
        own_ = std::filesystem::path(system) / "unicows.dll";
        aside_ = own_.wstring() + L".aside";
        // An earlier run that was ended may have left this.
        if (std::filesystem::exists(aside_)) std::filesystem::rename(aside_, own_);
        if (std::filesystem::exists(own_)) std::filesystem::rename(own_, aside_);
        PlantedLibraries::SetUp();
        for (const char* file : {"loads_by_name.exe", "Velmora.dll"})
            std::filesystem::copy_file(programFolder() / file, folder_ / "program" / file);
    }
    void TearDown() override {
        PlantedLibraries::TearDown();
        if (std::filesystem::exists(aside_)) std::filesystem::rename(aside_, own_);
    }

    std::filesystem::path own_;
    std::filesystem::path aside_;
};

TEST_F(PlantedUnicows, IsRunByAProgramThatAsksForItByName) {
    plant("path");
    EXPECT_EQ(run(L"loads_by_name.exe", L"unicows.dll"), 77u);
}

// The one library that programs may bring along is looked for beside the program, where only an
// administrator puts files, and in the system directory.
TEST_F(PlantedUnicows, IsLookedForBesideTheProgramAlone) {
    plant("current");
    plant("path");
    EXPECT_EQ(run(L"loads_by_name.exe", L"Velmora.dll"), 0u);
    std::filesystem::copy_file(programFolder() / "planted_library.dll",
                               folder_ / "program" / "unicows.dll");
    EXPECT_EQ(run(L"loads_by_name.exe", L"Velmora.dll"), 77u);
}

}  // namespace
}  // namespace velmora::testing
