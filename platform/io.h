#pragma once

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <expected>
#include <span>
#include <string_view>
#include <utility>

#include "platform/failure.h"

namespace ferncrest {

/// The most bytes in one read or write: macOS fails with EINVAL when there are more.
inline constexpr std::size_t mostAtOnce = INT_MAX;

/// Reads into `buffer` and gives the number of bytes, 0 at the end of input. Waits until there is
/// something to read, also on a descriptor in non-blocking mode; goes on after EINTR. Fails with
/// the error text of the operating system.
[[nodiscard]] std::expected<std::size_t, Failure> readSome(int fd, std::span<char> buffer);

/// Writes as many of the first bytes as one write() takes, which on a descriptor in non-blocking
/// mode does not wait. Gives their number, or a negated errno value. Goes on after EINTR.
[[nodiscard]] inline std::ptrdiff_t writeSome(int fd, std::string_view bytes) {
  for (;;) {
    const ssize_t count = ::write(fd, bytes.data(), std::min(bytes.size(), mostAtOnce));
    if (count >= 0 || errno != EINTR) {
      return count >= 0 ? count : -errno;
    }
  }
}

/// For writeAll() alone: goes on after its first write, which gave `count`, the number of bytes or
/// a negated errno value.
[[nodiscard]] Outcome writeRest(int fd, std::string_view bytes, std::ptrdiff_t count);

/// Writes all bytes, waiting for room, also on a descriptor in non-blocking mode; goes on after
/// EINTR and short counts. Fails with the error text of the operating system; what was written
/// before the failure stays written.
[[nodiscard]] inline Outcome writeAll(int fd, std::string_view bytes) {
  const std::ptrdiff_t count = writeSome(fd, bytes);
  return std::cmp_equal(count, bytes.size()) ? Outcome{} : writeRest(fd, bytes, count);
}

/// Whether a read from `fd` would return at once, with data, end of input or an error.
bool isReadable(int fd);

/// Whether a write of one byte to `fd` would return at once, with success or an error.
bool isWritable(int fd);

/// Whether `fd` is the master of a pseudo-terminal that is full and has no slave any more. A write
/// to it would wait for ever.
bool isHungUp(int fd);

}  // namespace ferncrest
