#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

#include "protocol/json_scan.h"

namespace ferncrest {

/// Counts the room that a JSON text needs, or somewhat more.
class JsonSize {
 public:
  void put(std::string_view bytes) { size_ += bytes.size(); }
  /// The characters of a string, without its quotation marks.
  void putEscaped(std::string_view text) {
    // For a short text, counting takes longer than reserving too much memory.
    constexpr std::size_t shortText = 256;
    size_ += text.size() <= shortText ? text.size() * longestEscape : escapedSize(text);
  }
  /// Brackets around everything since `begin`, the first of them in place of a comma.
  void enclose(JsonSize begin, char /*open*/, char /*close*/) {
    size_ += size_ == begin.size_ ? 2 : 1;
  }

  [[nodiscard]] std::size_t size() const { return size_; }

 private:
  static constexpr std::size_t longestEscape = 6;

  static std::size_t escapedSize(std::string_view text);

  std::size_t size_ = 0;
};

/// Writes JSON text to memory that has room for it.
class JsonMemory {
 public:
  explicit JsonMemory(char* begin) : position_(begin) {}

  void put(std::string_view bytes) {
    std::memcpy(position_, bytes.data(), bytes.size());
    position_ += bytes.size();
  }
  void putEscaped(std::string_view text) {
    const char* const end = text.data() + text.size();
    const char* const special = copyPlain<Solidus::special>(text.data(), end, position_);
    position_ += special - text.data();
    if (special != end) {
      position_ = escape({special, end}, position_);
    }
  }
  void enclose(JsonMemory begin, char open, char close) {
    position_ += position_ == begin.position_ ? 1 : 0;
    *begin.position_ = open;
    *position_++ = close;
  }

  [[nodiscard]] const char* end() const { return position_; }

 private:
  // Text that begins with a special character.
  static char* escape(std::string_view text, char* to);

  char* position_;
};

}  // namespace ferncrest
