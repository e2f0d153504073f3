#pragma once

#include <chrono>
#include <cstddef>
#include <expected>
#include <string>
#include <string_view>

#include "platform/failure.h"

// Files and their paths. A path is bytes: none is repaired to valid UTF-8 here.

namespace ferncrest {

/// The whole content of the file at `path` (relative paths start at the current directory), or the
/// error text of the operating system when it cannot be opened or read.
[[nodiscard]] std::expected<std::string, Failure> readFile(const std::string& path);

/// The same for a file of at most `most` bytes, or for a named pipe: everything until the last
/// writer has closed it. Fails with the text of ETIMEDOUT when that takes longer than `patience`,
/// of EFBIG for more bytes, and of EINVAL for any other kind of file.
[[nodiscard]] std::expected<std::string, Failure> readFileOrPipe(
    const std::string& path, std::size_t most, std::chrono::milliseconds patience);

/// `path`, taken relative to `directory`, without ".", "..", repeated or trailing separators. Only
/// the text is looked at, so symbolic links stay. The result is absolute unless `path` is relative
/// and `directory` empty (unknown).
std::string normalizedPath(std::string_view path, std::string_view directory);

/// The directory part of an absolute path, borrowed from it.
std::string_view directoryOf(std::string_view path);

/// The current directory, or empty when the operating system cannot tell.
std::string currentDirectory();

/// Whether something is at `path` that the current user may execute; true for a directory that may
/// be searched, too.
bool isExecutable(const std::string& path);

/// Creates the directory with its missing parents, all with mode 0700; a directory that exists is
/// left as it is. One below `trusted` that exists already must belong to this user, be writable by
/// nobody else and be no symbolic link, because in a shared place another user could have created
/// it first. Fails with the error text of the operating system.
[[nodiscard]] Outcome createDirectories(const std::string& path, std::string_view trusted);

}  // namespace ferncrest
