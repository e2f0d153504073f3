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
  std::string_view terminated;  ///< the trimmed text, valid UTF-8 and not empty, then one line feed

  [[nodiscard]] std::string_view text() const {
    return terminated.substr(0, terminated.size() - 1);
  }
};

/// Cuts input into lines. It does no input itself: the caller reads into room() and tells add() how
/// many bytes it has read. Throws std::bad_alloc when a line does not fit into memory.
class LineBuffer {
 public:
  /// The memory to read into, valid until the next call; never empty.
  [[nodiscard]] std::span<char> room();

  /// Adds the first `count` bytes of room() to the input. 0 means that the input has ended.
  void add(std::size_t count);

  /// Adds a copy of bytes that are elsewhere.
  void append(std::string_view bytes);

  /// The next line that is not blank, trimmed and with U+FFFD in place of invalid UTF-8. Nothing
  /// when more input is needed. At the end of the input the last line needs no line feed.
  [[nodiscard]] std::optional<MessageLine> next();

  [[nodiscard]] bool hasEnded() const { return ended_; }

  /// Whether memory of a long line is still allocated, though little of it is in use.
  [[nodiscard]] bool holdsSpareMemory() const;
  /// Returns that memory to the operating system. It takes time, so call it before a wait for
  /// input.
  void releaseSpareMemory();

 private:
  std::optional<std::string_view> nextRawLine();
  MessageLine terminate(std::string_view text);
  MessageLine repair(std::string_view text);
  void validate();
  void moveToFront();

  static constexpr std::size_t usualCapacity = std::size_t{128} << 10U;

  ByteBuffer buffer_{usualCapacity};
  std::size_t begin_ = 0;     // of the bytes that are in no line yet
  std::size_t searched_ = 0;  // up to here they hold no line feed
  std::size_t valid_ = 0;     // up to here they are valid UTF-8; between calls not below begin_
  std::size_t end_ = 0;       // of the bytes added; always below the capacity
  bool ended_ = false;
  std::optional<std::string> repaired_;  // the last line, if it was not valid UTF-8
};

}  // namespace ferncrest
