#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/byte_buffer.h"

namespace ferncrest {

/// One line that carries a message, borrowed from its reader until the next call.
struct MessageLine {
  std::string_view terminated;  ///< the trimmed text, not empty and valid UTF-8, and one line feed

  [[nodiscard]] std::string_view text() const {
    return terminated.substr(0, terminated.size() - 1);
  }
};

/// Cuts a descriptor's input into lines. One thread.
class LineReader {
 public:
  /// Borrows `fd`, which may be in non-blocking mode.
  explicit LineReader(int fd) : fd_(fd) {}

  /// Waits for the next line that is not blank: trimmed, with U+FFFD in place of invalid UTF-8.
  /// The last line needs no line feed. Nothing at the end of input; an input that fails has ended.
  std::optional<MessageLine> next();

 private:
  std::optional<std::string_view> nextRawLine();
  MessageLine terminate(std::string_view text);
  bool fill();
  void makeRoom();

  static constexpr std::size_t usualCapacity = std::size_t{128} << 10U;

  int fd_;
  ByteBuffer buffer_{usualCapacity};
  std::size_t begin_ = 0;     // of the bytes not yet given out
  std::size_t searched_ = 0;  // up to here they hold no line feed
  std::size_t end_ = 0;       // of the bytes read; always below the capacity
  bool ended_ = false;
  std::string repaired_;
};

}  // namespace ferncrest
