#pragma once

#include <chrono>
#include <cstddef>
#include <expected>
#include <string>

#include "platform/failure.h"

namespace ferncrest {

/// The whole content of the file at `path` (relative paths start at the current directory), or the
/// error text of the system when it cannot be opened or read.
[[nodiscard]] std::expected<std::string, Failure> readFile(const std::string& path);

/// The same for a file of at most `most` bytes, or for a pipe to which somebody else writes: what
/// comes until its writers have closed it, if that happens within `patience`. Fails for any other
/// kind of file.
[[nodiscard]] std::expected<std::string, Failure> readFileOrPipe(
    const std::string& path, std::size_t most, std::chrono::milliseconds patience);

}  // namespace ferncrest
