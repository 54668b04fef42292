#pragma once

#include <functional>
#include <string>

namespace velmora::ctl {

enum class FileChange { same, copied, replaced, replacedInUse };

/// Replaces a file by another one, or leaves it as it was: the new file is copied under a temporary
/// name in the same folder, compared, checked and flushed to the disk before it is renamed.
class PlacedFile {
  public:
    /// May read the copy and change it; throws if the file must not be placed.
    using Prepare = std::function<void(const std::string& copy)>;

    /// Nothing is copied if `target` already has `source`'s contents. Throws CommandError.
    PlacedFile(const std::string& source, const std::string& target, const Prepare& prepare = {});
    /// Removes a copy that has not become `target`.
    ~PlacedFile();
    PlacedFile(const PlacedFile&) = delete;
    PlacedFile& operator=(const PlacedFile&) = delete;

    /// Renames the copy to `target`. A file there that is in use, like the spooler's libraries, is
    /// moved aside and deleted at the next start of Windows. Throws CommandError; `target` is then
    /// as it was.
    FileChange commit();

    /// Keeps a copy of `target` for undo(); call it before commit(). Throws CommandError.
    void keepOld();
    /// Restores `target`. False if that failed; true if nothing was placed.
    bool undo() noexcept;

  private:
    std::string what_;
    std::string target_;
    std::string copy_;    ///< empty: nothing to place, or placed
    std::string backup_;  ///< empty: none kept
    bool there_ = false;
    bool placed_ = false;
};

/// Both steps in one.
FileChange placeFile(const std::string& source, const std::string& target,
                     const PlacedFile::Prepare& prepare = {});

/// Renames a file that is in use, which Windows allows, to a free name in its folder. Returns that
/// name, or nothing if it cannot be done.
std::string moveAside(const std::string& path);

/// Lets Windows delete the file when it starts. Nothing for a file of another computer, whose
/// start this one cannot prepare.
void deleteAtNextStart(const std::string& path) noexcept;

/// Whether the error says that somebody uses the file.
bool isInUse(unsigned long error) noexcept;

}  // namespace velmora::ctl
