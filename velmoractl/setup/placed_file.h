#pragma once

#include <functional>
#include <string>

namespace velmora::ctl {

enum class FileChange { same, copied, replaced, replacedInUse };

/// Puts one file in the place of another, or leaves that one as it was: the new file is copied to a
/// name of its own beside its place, compared, checked and flushed to the disk before it is
/// renamed.
class PlacedFile {
  public:
    /// May look at the copy and change it; throws when the file is not to be placed.
    using Prepare = std::function<void(const std::string& copy)>;

    /// Nothing is copied if `target` already has `source`'s contents. Throws CommandError.
    PlacedFile(const std::string& source, const std::string& target, const Prepare& prepare = {});
    /// Removes what has not become `target`.
    ~PlacedFile();
    PlacedFile(const PlacedFile&) = delete;
    PlacedFile& operator=(const PlacedFile&) = delete;

    /// Takes the place. A file there that somebody uses, as the spooler its libraries, is moved
    /// aside and deleted at the next start of Windows. Throws CommandError; the place then has what
    /// it had.
    FileChange commit();

    /// Keeps a copy of what is in the place, for undo(). Before commit(). Throws CommandError.
    void keepOld();
    /// What was in the place comes back to it. False if it could not; true if nothing was placed.
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

/// Renames a file that is in use, which Windows allows, to a free name beside it; that name, or
/// nothing if it cannot be done.
std::string moveAside(const std::string& path);

/// Lets Windows delete the file when it starts. Nothing for a file of another computer, whose
/// start this one cannot prepare.
void deleteAtNextStart(const std::string& path) noexcept;

/// Whether the error says that somebody uses the file.
bool isInUse(unsigned long error) noexcept;

}  // namespace velmora::ctl
