#include "velmoractl/setup/placed_file.h"

#include <windows.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "platform/handle.h"
#include "velmoractl/text/console.h"

namespace velmora::ctl {
namespace {

constexpr int kNames = 100;

bool exists(const std::string& path) {
    return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool sameContents(const std::string& one, const std::string& other) {
    std::ifstream first(one, std::ios::binary);
    std::ifstream second(other, std::ios::binary);
    if (!first || !second) return false;
    return std::equal(std::istreambuf_iterator<char>(first), {},
                      std::istreambuf_iterator<char>(second), {});
}

/// Copies to a name that is free; that name, or nothing and the last error.
std::string copyBeside(const std::string& source, const std::string& place, const char* kind) {
    for (int number = 1; number < kNames; ++number) {
        std::string copy = place + kind + std::to_string(number);
        if (CopyFileA(source.c_str(), copy.c_str(), TRUE)) {
            // A read-only source would make a read-only copy.
            SetFileAttributesA(copy.c_str(), FILE_ATTRIBUTE_NORMAL);
            return copy;
        }
        const DWORD error = GetLastError();
        if (error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS) continue;
        // A full disk leaves the part that had room.
        DeleteFileA(copy.c_str());
        SetLastError(error);
        return {};
    }
    return {};
}

bool flush(const std::string& path) {
    const UniqueFile file(CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, 0, nullptr));
    return file && FlushFileBuffers(file.get());
}

[[noreturn]] void fail(const std::string& what, DWORD error) {
    throw systemError(what, error, "check that both folders are there and have room");
}

}  // namespace

bool isInUse(unsigned long error) noexcept {
    return error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED ||
           error == ERROR_USER_MAPPED_FILE;
}

std::string moveAside(const std::string& path) {
    for (int number = 1; number < kNames; ++number) {
        std::string aside = path + ".old" + std::to_string(number);
        if (MoveFileA(path.c_str(), aside.c_str())) return aside;
        if (GetLastError() != ERROR_ALREADY_EXISTS) break;
    }
    return {};
}

void deleteAtNextStart(const std::string& path) noexcept {
    if (!path.starts_with("\\\\")) MoveFileExA(path.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
}

PlacedFile::PlacedFile(const std::string& source, const std::string& target, const Prepare& prepare)
    : what_("copying " + quotedPath(source) + " to " + quotedPath(target)),
      target_(target),
      there_(exists(target)) {
    if (there_ && sameContents(source, target)) return;
    copy_ = copyBeside(source, target, ".new");
    if (copy_.empty()) fail(what_, GetLastError());
    try {
        if (!sameContents(source, copy_)) fail(what_, ERROR_WRITE_FAULT);
        if (prepare) prepare(copy_);
        if (!flush(copy_)) fail(what_, GetLastError());
    } catch (...) {
        DeleteFileA(copy_.c_str());
        throw;
    }
}

PlacedFile::~PlacedFile() {
    if (!copy_.empty()) DeleteFileA(copy_.c_str());
    if (!backup_.empty()) DeleteFileA(backup_.c_str());
}

FileChange PlacedFile::commit() {
    if (copy_.empty()) return FileChange::same;
    if (MoveFileExA(copy_.c_str(), target_.c_str(),
                    MOVEFILE_WRITE_THROUGH | (there_ ? MOVEFILE_REPLACE_EXISTING : 0))) {
        copy_.clear();
        placed_ = true;
        return there_ ? FileChange::replaced : FileChange::copied;
    }
    DWORD error = GetLastError();
    if (!there_ || !isInUse(error)) fail(what_, error);
    const std::string aside = moveAside(target_);
    if (aside.empty()) fail(what_, error);
    if (!MoveFileExA(copy_.c_str(), target_.c_str(), MOVEFILE_WRITE_THROUGH)) {
        error = GetLastError();
        MoveFileExA(aside.c_str(), target_.c_str(),
                    MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
        fail(what_, error);
    }
    deleteAtNextStart(aside);
    copy_.clear();
    placed_ = true;
    return FileChange::replacedInUse;
}

void PlacedFile::keepOld() {
    if (!there_ || copy_.empty()) return;
    backup_ = copyBeside(target_, target_, ".kept");
    if (backup_.empty()) fail(what_, GetLastError());
}

bool PlacedFile::undo() noexcept {
    if (!placed_) return true;
    placed_ = false;
    if (!there_) return DeleteFileA(target_.c_str()) != 0;
    if (backup_.empty() || !MoveFileExA(backup_.c_str(), target_.c_str(),
                                        MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        return false;
    }
    backup_.clear();
    return true;
}

FileChange placeFile(const std::string& source, const std::string& target,
                     const PlacedFile::Prepare& prepare) {
    return PlacedFile(source, target, prepare).commit();
}

}  // namespace velmora::ctl
