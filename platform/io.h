#pragma once

#include <cstddef>
#include <expected>
#include <span>
#include <string_view>

#include "platform/failure.h"

namespace ferncrest {

/// Reads what is there into `buffer`, waiting until there is something; 0 means end of input.
/// Survives interruptions and descriptors in non-blocking mode.
[[nodiscard]] std::expected<std::size_t, Failure> readSome(int fd, std::span<char> buffer);

/// Writes every byte or fails with the system's words; what was written before a failure stays
/// written. Survives interruptions, short counts and non-blocking mode.
[[nodiscard]] Outcome writeAll(int fd, std::string_view bytes);

/// Writes the first bytes, as many as a descriptor in non-blocking mode takes now: how many, or a
/// negated errno value. Survives interruptions.
[[nodiscard]] std::ptrdiff_t writeSome(int fd, std::string_view bytes);

/// Whether a read from `fd` would return at once, with data, end of input or an error.
bool isReadable(int fd);

/// Whether a write of one byte to `fd` would return at once, with success or an error.
bool isWritable(int fd);

}  // namespace ferncrest
