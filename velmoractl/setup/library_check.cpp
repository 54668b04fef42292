#include "velmoractl/setup/library_check.h"

#include <windows.h>
// After windows.h.
#include <winver.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

#include "velmoractl/command_error.h"
#include "velmoractl/text/console.h"

namespace velmora::ctl {
namespace {

/// The message for a library of another kind of Windows.
const char* otherWindows(WORD machine) {
    switch (machine) {
        case IMAGE_FILE_MACHINE_I386:
            return "it is for 32-bit Windows";
        case IMAGE_FILE_MACHINE_AMD64:
            return "it is for 64-bit Windows";
        default:
            return "it is for another kind of computer";
    }
}

constexpr char kDamaged[] = "it is damaged or incomplete";

constexpr std::string_view kExports[] = {"InitializePrintMonitor2", "InitializePrintMonitor",
                                         "InitializeMonitorEx", "InitializePrintMonitorUI"};

/// Why a file is refused.
struct NotOurs {
    const char* why;
};

/// The file's bytes (PE format). Every read is bounded; one outside of the file throws.
class ImageFile {
  public:
    explicit ImageFile(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        bytes_.assign(std::istreambuf_iterator<char>(file), {});
    }

    WORD machine() const { return at<IMAGE_FILE_HEADER>(headers() + sizeof(DWORD)).Machine; }

    /// Throws NotOurs unless this is a whole port monitor for that kind of Windows.
    void check(WORD wanted) const {
        const std::size_t headers = this->headers();
        const auto file = at<IMAGE_FILE_HEADER>(headers + sizeof(DWORD));
        if (file.Machine != wanted) throw NotOurs{otherWindows(file.Machine)};
        if ((file.Characteristics & IMAGE_FILE_DLL) == 0)
            throw NotOurs{"it is a program and no library"};
        const bool wide = file.Machine == IMAGE_FILE_MACHINE_AMD64;
        const DWORD fileSum = wide ? at<IMAGE_NT_HEADERS64>(headers).OptionalHeader.CheckSum
                                   : at<IMAGE_NT_HEADERS32>(headers).OptionalHeader.CheckSum;
        const DWORD exports = wide ? exportsOf(at<IMAGE_NT_HEADERS64>(headers).OptionalHeader)
                                   : exportsOf(at<IMAGE_NT_HEADERS32>(headers).OptionalHeader);
        std::vector<IMAGE_SECTION_HEADER> sections;
        std::size_t place = headers + sizeof(DWORD) + sizeof file + file.SizeOfOptionalHeader;
        for (WORD i = 0; i < file.NumberOfSections; ++i, place += sizeof(IMAGE_SECTION_HEADER)) {
            sections.push_back(at<IMAGE_SECTION_HEADER>(place));
            if (std::uint64_t{sections.back().PointerToRawData} + sections.back().SizeOfRawData >
                bytes_.size())
                throw NotOurs{kDamaged};
        }
        // The same place in both forms of the headers.
        static_assert(offsetof(IMAGE_NT_HEADERS32, OptionalHeader.CheckSum) ==
                      offsetof(IMAGE_NT_HEADERS64, OptionalHeader.CheckSum));
        const std::size_t sum = headers + offsetof(IMAGE_NT_HEADERS32, OptionalHeader.CheckSum);
        if (fileSum != 0 && fileSum != checkSum(sum)) throw NotOurs{kDamaged};
        checkExports(sections, exports);
    }

  private:
    template <class Header>
    static DWORD exportsOf(const Header& header) {
        return header.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress;
    }

    /// Where the headers begin.
    std::size_t headers() const {
        if (bytes_.size() < sizeof(IMAGE_DOS_HEADER) || !bytes_.starts_with("MZ"))
            throw NotOurs{"it is not a library"};
        const auto start = at<IMAGE_DOS_HEADER>(0).e_lfanew;
        if (start < 0) throw NotOurs{kDamaged};
        const auto headers = static_cast<std::size_t>(start);
        if (at<DWORD>(headers) != IMAGE_NT_SIGNATURE) throw NotOurs{"it is not a library"};
        return headers;
    }

    template <class T>
    T at(std::size_t offset) const {
        if (offset > bytes_.size() || bytes_.size() - offset < sizeof(T)) throw NotOurs{kDamaged};
        T value;
        std::memcpy(&value, bytes_.data() + offset, sizeof value);
        return value;
    }

    /// The sum that linkers and signing tools leave in the headers: 16-bit words with carry,
    /// without the four bytes of the sum itself, plus the file's size.
    DWORD checkSum(std::size_t sumOffset) const {
        std::uint32_t sum = 0;
        for (std::size_t i = 0; i < bytes_.size(); i += 2) {
            if (i >= sumOffset && i < sumOffset + sizeof(DWORD)) continue;
            std::uint32_t word = static_cast<unsigned char>(bytes_[i]);
            if (i + 1 < bytes_.size())
                word |= std::uint32_t{static_cast<unsigned char>(bytes_[i + 1])} << 8;
            sum += word;
            sum = (sum & 0xFFFF) + (sum >> 16);
        }
        return sum + static_cast<DWORD>(bytes_.size());
    }

    static std::size_t offsetOf(const std::vector<IMAGE_SECTION_HEADER>& sections, DWORD address) {
        for (const IMAGE_SECTION_HEADER& section : sections)
            if (address >= section.VirtualAddress &&
                address - section.VirtualAddress < section.SizeOfRawData)
                return std::size_t{section.PointerToRawData} + (address - section.VirtualAddress);
        throw NotOurs{kDamaged};
    }

    void checkExports(const std::vector<IMAGE_SECTION_HEADER>& sections, DWORD address) const {
        std::set<std::string_view> missing(std::begin(kExports), std::end(kExports));
        if (address != 0) {
            const auto table = at<IMAGE_EXPORT_DIRECTORY>(offsetOf(sections, address));
            const std::size_t names = offsetOf(sections, table.AddressOfNames);
            for (DWORD i = 0; i < table.NumberOfNames; ++i) {
                const auto name = at<DWORD>(names + std::size_t{i} * sizeof(DWORD));
                const std::size_t begin = offsetOf(sections, name);
                const std::size_t end = bytes_.find('\0', begin);
                if (end == std::string::npos) throw NotOurs{kDamaged};
                missing.erase(std::string_view(bytes_).substr(begin, end - begin));
            }
        }
        if (!missing.empty()) throw NotOurs{"it is not a port monitor of this kind"};
    }

    std::string bytes_;
};

struct Version {
    std::string product;
    std::uint64_t number = 0;
    std::string text;
};

/// From the file's version resource; nothing if it has none.
std::optional<Version> versionOf(const std::string& path) {
    DWORD unused = 0;
    std::vector<std::byte> area(GetFileVersionInfoSizeA(path.c_str(), &unused));
    if (area.empty() ||
        !GetFileVersionInfoA(path.c_str(), 0, static_cast<DWORD>(area.size()), area.data()))
        return std::nullopt;
    void* found = nullptr;
    UINT size = 0;
    if (!VerQueryValueA(area.data(), "\\", &found, &size) || size < sizeof(VS_FIXEDFILEINFO))
        return std::nullopt;
    Version version;
    const auto& fixed = *static_cast<const VS_FIXEDFILEINFO*>(found);
    version.number = std::uint64_t{fixed.dwFileVersionMS} << 32 | fixed.dwFileVersionLS;
    for (int shift = 48; shift >= 0; shift -= 16)
        version.text +=
            (version.text.empty() ? "" : ".") + std::to_string(version.number >> shift & 0xFFFF);
    if (VerQueryValueA(area.data(), "\\StringFileInfo\\040904b0\\ProductName", &found, &size))
        version.product = static_cast<const char*>(found);
    return version;
}

}  // namespace

WORD ownMachine() noexcept {
#ifdef _WIN64
    return IMAGE_FILE_MACHINE_AMD64;
#else
    return IMAGE_FILE_MACHINE_I386;
#endif
}

WORD machineOf(const std::string& path) {
    try {
        return ImageFile(path).machine();
    } catch (const NotOurs&) {
        return 0;
    }
}

void checkLibrary(const std::string& path, const std::string& name, const std::string& installed,
                  Downgrade downgrade, WORD machine) {
    const std::string what = "checking " + quotedPath(name);
    const auto refuse = [&](const std::string& why) {
        throw CommandError(ExitCode::usage, what, why, "take the file from the download again");
    };
    try {
        ImageFile(path).check(machine);
    } catch (const NotOurs& image) {
        refuse(image.why);
    }
    const std::optional<Version> offered = versionOf(path);
    if (!offered || offered->product != "Velmora") refuse("it is not a Velmora.dll");
    const std::optional<Version> present = versionOf(installed);
    if (downgrade == Downgrade::refused && present && present->number > offered->number) {
        throw CommandError(
            ExitCode::conflict, what,
            "its version " + offered->text + " is older than the installed " + present->text,
            "add --allow-downgrade to install it all the same");
    }
}

}  // namespace velmora::ctl
