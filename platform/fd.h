#pragma once

#include <utility>

namespace ferncrest {

/// Owns one file descriptor and closes it once. Not for the three standard streams, which are the
/// host's.
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

  /// Closes the descriptor now; a failure to close is ignored.
  void reset();

 private:
  int fd_ = -1;
};

}  // namespace ferncrest
