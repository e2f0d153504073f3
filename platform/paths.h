#pragma once

#include <string>
#include <string_view>

#include "platform/failure.h"

// File paths are bytes; nothing here repairs them.

namespace ferncrest {

/// `path`, taken relative to `directory`, without ".", "..", repeated or trailing separators, by
/// its text alone. Absolute unless `directory` is unknown (empty) and `path` relative.
std::string normalizedPath(std::string_view path, std::string_view directory);

/// The directory part of an absolute path.
std::string_view directoryOf(std::string_view path);

/// The current directory, or empty when the system cannot tell.
std::string currentDirectory();

/// Whether something is at `path` that the current user may execute.
bool isExecutable(const std::string& path);

/// Makes the directory with its missing parents, each private to the user; one that exists is left
/// as it is. Below `trusted`, one that exists must be a real directory of this user's that nobody
/// else can write to: elsewhere another user could have made it first. Fails with the error text of
/// the system.
[[nodiscard]] Outcome createDirectories(const std::string& path, std::string_view trusted);

}  // namespace ferncrest
