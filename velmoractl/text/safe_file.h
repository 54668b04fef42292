#pragma once

#include <string>
#include <string_view>

namespace velmora::ctl {

enum class Readers { everybody, ownerAlone };

/// Writes a file so that `path` holds either all of `text` or what it held before: beside it, to
/// the disk, and then in its place. With Readers::ownerAlone nobody but the user may ever read it
/// (on drives that keep rights). Throws CommandError, which begins with `what`.
void replaceFile(const std::string& path, std::string_view text, Readers readers,
                 const std::string& what);

/// The whole file; "-" is the standard input. Throws CommandError, which begins with `what`.
std::string readWholeFile(const std::string& path, const std::string& what);

}  // namespace velmora::ctl
