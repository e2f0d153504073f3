#pragma once

#include <expected>
#include <string>

#include "platform/failure.h"

namespace ferncrest {

/// The whole content of the file at `path` (relative paths start at the current directory), or the
/// system's words when it cannot be opened or read. Any thread.
[[nodiscard]] std::expected<std::string, Failure> readFile(const std::string& path);

}  // namespace ferncrest
