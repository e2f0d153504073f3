#pragma once

#include <chrono>
#include <cstddef>
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

  /// The right to speak: while a turn is held, nobody else writes. Whoever holds one may be waiting
  /// for the host, so no lock that others need is held while taking one.
  class Turn {
   public:
    explicit Turn(OutputStream& stream) : lock_(stream.mutex_), fd_(stream.fd_) {}

    /// Writes every byte, waiting for the host as long as it takes, or fails.
    [[nodiscard]] Outcome write(std::string_view bytes) const;

    /// Moves bytes from a pipe that has some, as moveBytes does; waits for the host.
    [[nodiscard]] std::ptrdiff_t moveFrom(int pipe, std::size_t most) const;

   private:
    std::unique_lock<std::mutex> lock_;
    int fd_;
  };

  /// Waits for the turn and writes every byte in it.
  [[nodiscard]] Outcome write(std::string_view bytes) { return Turn(*this).write(bytes); }

  /// Writes what the host takes within `patience`; the rest is lost.
  void offer(std::string_view bytes, std::chrono::milliseconds patience);

 private:
  std::mutex mutex_;
  int fd_;
};

}  // namespace ferncrest
