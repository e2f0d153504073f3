#pragma once

#include <cstddef>
#include <string_view>

#include "platform/fd.h"

namespace ferncrest {

/// A standard output stream, borrowed from the host, that never makes the writer wait. The host's
/// flags stay as they are. Counts are bytes; a failure is a negated errno value, -EAGAIN where the
/// host has to read first. A stream that was not opened for writing fails with -EBADF.
class OutputStream {
 public:
  explicit OutputStream(int fd);

  /// Writes the first bytes, as many as the stream takes now.
  [[nodiscard]] std::ptrdiff_t writeSome(std::string_view bytes) const;

  /// The same for a line, of which a pipe gets no part before it has room for the whole. A line
  /// that is longer than the pipe goes there by the pipeful.
  [[nodiscard]] std::ptrdiff_t writeLine(std::string_view line) const;

  /// Moves bytes from a pipe without a copy in this process. 0 means that the pipe has ended,
  /// -EAGAIN that it is empty or that the stream is full, -EINVAL that bytes must be written.
  [[nodiscard]] std::ptrdiff_t moveFrom(int pipe, std::size_t most) const;

  /// False for a stream that was not opened for writing; poll would wait for it for ever.
  [[nodiscard]] bool isOpenForWriting() const { return kind_ != Kind::unwritable; }

  /// Bytes that the host has not read yet; 0 where the system does not tell.
  [[nodiscard]] std::size_t unread();

  /// To wait for room with poll. A long line may have to wait for more than that.
  [[nodiscard]] int fd() const { return own_.isOpen() ? own_.get() : fd_; }

 private:
  enum class Kind { pipe, socket, terminal, file, unwritable };

  static Kind kindOf(int fd);

  int fd_;
  Kind kind_;
  bool tellsUnread_;
  Fd own_;  // a terminal, opened again in non-blocking mode
};

}  // namespace ferncrest
