#pragma once

#include <expected>
#include <utility>

#include "platform/failure.h"

namespace ferncrest {

/// The standard streams. They belong to the host, which shares their flags: they are borrowed,
/// never closed and never put into non-blocking mode.
inline constexpr int standardInput = 0;
inline constexpr int standardOutput = 1;
inline constexpr int standardError = 2;

/// Opens a placeholder on each standard stream that the host left closed, so that no descriptor of
/// ours gets its number: reading from a placeholder gives end of input, writing to it fails. Must
/// run before anything else opens a descriptor.
void reserveStandardStreams();

/// Ignores SIGPIPE, so that a write to a pipe without a reader fails with EPIPE instead of ending
/// the process.
void ignoreBrokenPipeSignal();

/// Owns one file descriptor and closes it once. Move-only. Not for the standard streams.
class Fd {
 public:
  Fd() = default;
  explicit Fd(int fd) : fd_(fd) {}
  Fd(Fd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Fd& operator=(Fd&& other) noexcept {
    if (this != &other) {
      reset();
      fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
  }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  ~Fd() { reset(); }

  /// The descriptor, or -1 when nothing is held.
  [[nodiscard]] int get() const { return fd_; }
  [[nodiscard]] bool isOpen() const { return fd_ >= 0; }

  /// Closes the descriptor now. An error of close() is ignored.
  void reset();

 private:
  int fd_ = -1;
};

/// A pipe whose ends are close-on-exec: a program that is started does not inherit them.
struct Pipe {
  Fd readEnd;
  Fd writeEnd;
};

/// A new pipe in blocking mode, or the error text of the operating system.
[[nodiscard]] std::expected<Pipe, Failure> makePipe();

}  // namespace ferncrest
