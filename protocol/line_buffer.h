#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/byte_buffer.h"

namespace ferncrest {

/// One line that carries a message, borrowed from its buffer until the next call.
struct MessageLine {
  std::string_view terminated;  ///< the trimmed text, not empty and valid UTF-8, and one line feed

  [[nodiscard]] std::string_view text() const {
    return terminated.substr(0, terminated.size() - 1);
  }
};

/// Cuts input into lines. It reads nothing itself: the caller reads into room() and tells add() how
/// many bytes came. Throws std::bad_alloc when a line does not fit into memory.
class LineBuffer {
 public:
  /// Where to read to; never empty.
  [[nodiscard]] std::span<char> room();

  /// Takes the first `count` bytes of room(). 0 says that the input has ended.
  void add(std::size_t count);

  /// Adds a copy of bytes that are elsewhere.
  void append(std::string_view bytes);

  /// The next line that is not blank: trimmed, with U+FFFD in place of invalid UTF-8. Nothing until
  /// more is added. At the end of the input, what is left is a line also without its line feed.
  [[nodiscard]] std::optional<MessageLine> next();

  [[nodiscard]] bool hasEnded() const { return ended_; }

  /// Whether the memory of a long line is still held, though little of it is used.
  [[nodiscard]] bool holdsSpareMemory() const;
  /// Gives that memory back to the system; worth its time before a wait for input.
  void releaseSpareMemory();

 private:
  std::optional<std::string_view> nextRawLine();
  MessageLine terminate(std::string_view text);
  void moveToFront();

  static constexpr std::size_t usualCapacity = std::size_t{128} << 10U;

  ByteBuffer buffer_{usualCapacity};
  std::size_t begin_ = 0;     // of the bytes not yet given out
  std::size_t searched_ = 0;  // up to here they hold no line feed
  std::size_t end_ = 0;       // of the bytes added; always below the capacity
  bool ended_ = false;
  std::string repaired_;
};

}  // namespace ferncrest
