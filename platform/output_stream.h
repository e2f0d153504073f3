#pragma once

#include <mutex>
#include <string_view>

#include "platform/failure.h"

namespace ferncrest {

/// A standard output stream, borrowed from the host, on which one voice speaks at a time.
/// May be used from any thread; must outlive every thread that writes to it.
class OutputStream {
 public:
  explicit OutputStream(int fd) : fd_(fd) {}
  OutputStream(const OutputStream&) = delete;
  OutputStream& operator=(const OutputStream&) = delete;

  /// The right to speak: while a turn is held, nobody else writes. Taken last of all locks but for
  /// those that are never held across a wait.
  class Turn {
   public:
    explicit Turn(OutputStream& stream) : lock_(stream.mutex_), fd_(stream.fd_) {}

    /// Writes every byte, waiting for the host as long as it takes, or fails.
    [[nodiscard]] Outcome write(std::string_view bytes) const;

   private:
    std::unique_lock<std::mutex> lock_;
    int fd_;
  };

  /// Waits for the turn and writes every byte in it.
  [[nodiscard]] Outcome write(std::string_view bytes) { return Turn(*this).write(bytes); }

 private:
  std::mutex mutex_;
  int fd_;
};

}  // namespace ferncrest
