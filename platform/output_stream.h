#pragma once

#include <cstddef>
#include <string_view>

#include "platform/fd.h"

namespace ferncrest {

/// Writes to standard output or standard error without waiting for the host to read. The stream is
/// borrowed, and its flags, which the host shares, are not changed. Counts are bytes; a failure is
/// a negated errno value: -EAGAIN when the host has to read first, -EBADF for a stream that was not
/// opened for writing.
class OutputStream {
 public:
  explicit OutputStream(int fd);

  /// Writes as many of the first bytes as the stream takes now, and gives their number.
  [[nodiscard]] std::ptrdiff_t writeSome(std::string_view bytes) const;

  /// The same for a line. A pipe gets nothing of it before it has room for the whole line; of a
  /// line that is longer than the pipe's capacity it gets one capacity after the other.
  [[nodiscard]] std::ptrdiff_t writeLine(std::string_view line) const;

  /// Moves up to `most` bytes from a pipe to this stream without a copy in this process (splice).
  /// Gives their number, 0 at the end of the pipe, -EAGAIN when it is empty or the stream is full,
  /// and -EINVAL when this stream needs read() and writeSome() instead.
  [[nodiscard]] std::ptrdiff_t moveFrom(int pipe, std::size_t most) const;

  /// False for a stream that was not opened for writing. Such a stream must not be given to poll,
  /// which would never report it as ready.
  [[nodiscard]] bool isOpenForWriting() const { return kind_ != Kind::unwritable; }

  /// How many bytes in the stream the host has not read yet; 0 where the operating system cannot
  /// tell.
  [[nodiscard]] std::size_t unread();

  /// The descriptor to wait for with POLLOUT. writeLine may need more room than that reports.
  [[nodiscard]] int fd() const { return own_.isOpen() ? own_.get() : fd_; }

 private:
  enum class Kind { pipe, socket, terminal, file, unwritable };

  static Kind kindOf(int fd);

  int fd_;
  Kind kind_;
  bool tellsUnread_;
  Fd own_;  // the same terminal, opened again in non-blocking mode
};

}  // namespace ferncrest
