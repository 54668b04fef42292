#include "velmoractl/text/safe_file.h"

#include <windows.h>
// After windows.h.
#include <fcntl.h>
#include <io.h>
#include <sddl.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <vector>

#include "platform/handle.h"
#include "velmoractl/text/console.h"

namespace velmora::ctl {
namespace {

/// The rights of a file that only its owner may use, "D:P(A;;FA;;;<the user>)"; null if the user
/// cannot be determined.
UniqueLocalMemory ownersRights() {
    UniqueToken token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.put())) return {};
    alignas(TOKEN_USER) std::array<std::byte, 512> area{};
    DWORD size = 0;
    if (!GetTokenInformation(token.get(), TokenUser, area.data(), static_cast<DWORD>(area.size()),
                             &size)) {
        return {};
    }
    char* text = nullptr;
    if (!ConvertSidToStringSidA(reinterpret_cast<const TOKEN_USER*>(area.data())->User.Sid,
                                &text)) {
        return {};
    }
    const UniqueLocalMemory textOwner(text);
    const std::string rights = "D:P(A;;FA;;;" + std::string(text) + ")";
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorA(rights.c_str(), SDDL_REVISION_1,
                                                         &descriptor, nullptr);
    return UniqueLocalMemory(descriptor);
}

/// A new file beside `path`, deleted again unless it takes that place.
class FileBeside {
  public:
    FileBeside(const std::string& path, Readers readers, const std::string& what)
        : target_(path),
          name_(path + "." + std::to_string(GetCurrentProcessId()) + ".new"),
          what_(what) {
        const bool secret = readers == Readers::ownerAlone;
        const UniqueLocalMemory rights = secret ? ownersRights() : UniqueLocalMemory();
        if (secret && !rights) fail();
        SECURITY_ATTRIBUTES attributes{sizeof attributes, rights.get(), FALSE};
        file_.reset(CreateFileA(name_.c_str(), GENERIC_WRITE, 0, secret ? &attributes : nullptr,
                                CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
        made_ = static_cast<bool>(file_);
        if (!made_) fail();
    }
    ~FileBeside() {
        file_.reset();
        if (made_) DeleteFileA(name_.c_str());
    }
    FileBeside(const FileBeside&) = delete;
    FileBeside& operator=(const FileBeside&) = delete;

    void write(std::string_view text) {
        constexpr std::size_t kPiece = 1 << 20;
        while (!text.empty()) {
            DWORD written = 0;
            const auto size = static_cast<DWORD>(std::min(text.size(), kPiece));
            if (!WriteFile(file_.get(), text.data(), size, &written, nullptr)) fail();
            if (written == 0) fail(ERROR_DISK_FULL);
            text.remove_prefix(written);
        }
        if (!FlushFileBuffers(file_.get())) fail();
    }

    void takePlace() {
        file_.reset();
        if (!MoveFileExA(name_.c_str(), target_.c_str(),
                         MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
            fail();
        }
        made_ = false;
    }

  private:
    [[noreturn]] void fail(DWORD error = GetLastError()) const {
        CommandError reason =
            systemError(what_, error, "choose a folder with room that you may write to");
        throw CommandError(reason.code(), what_, reason.why(),
                           reason.remedy() + "; a file of that name is as it was",
                           reason.keyword());
    }

    const std::string target_;
    const std::string name_;
    const std::string what_;
    UniqueFile file_;
    bool made_ = false;
};

struct StreamCloser {
    void operator()(std::FILE* stream) const noexcept { std::fclose(stream); }
};

}  // namespace

void replaceFile(const std::string& path, std::string_view text, Readers readers,
                 const std::string& what) {
    FileBeside file(path, readers, what);
    file.write(text);
    file.takePlace();
}

std::string readWholeFile(const std::string& path, const std::string& what) {
    std::unique_ptr<std::FILE, StreamCloser> opened;
    std::FILE* stream = stdin;
    if (path == "-") {
        _setmode(_fileno(stdin), _O_BINARY);
    } else {
        opened.reset(std::fopen(path.c_str(), "rb"));
        stream = opened.get();
    }
    std::string text;
    std::vector<char> piece(1 << 16);
    while (stream != nullptr) {
        const std::size_t count = std::fread(piece.data(), 1, piece.size(), stream);
        text.append(piece.data(), count);
        if (count < piece.size()) break;
    }
    if (stream == nullptr || std::ferror(stream) != 0) {
        throw CommandError(ExitCode::usage, what, "the file cannot be read",
                           "check its name, and that you may read it", "file-unreadable");
    }
    return text;
}

}  // namespace velmora::ctl
