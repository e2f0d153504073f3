#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

namespace ferncrest {

/// Where JSON text goes when only its size is wanted.
class JsonSize {
 public:
  void put(std::string_view bytes) { size_ += bytes.size(); }
  /// The characters of a string, without its quotation marks.
  void putEscaped(std::string_view text);
  /// Brackets around everything since `begin`, the first of them in place of a comma.
  void enclose(JsonSize begin, char /*open*/, char /*close*/) {
    size_ += size_ == begin.size_ ? 2 : 1;
  }

  [[nodiscard]] std::size_t size() const { return size_; }

 private:
  std::size_t size_ = 0;
};

/// Memory for JSON text, with room for all that JsonSize counts.
class JsonMemory {
 public:
  explicit JsonMemory(char* begin) : position_(begin) {}

  void put(std::string_view bytes) {
    std::memcpy(position_, bytes.data(), bytes.size());
    position_ += bytes.size();
  }
  void putEscaped(std::string_view text);
  void enclose(JsonMemory begin, char open, char close) {
    position_ += position_ == begin.position_ ? 1 : 0;
    *begin.position_ = open;
    *position_++ = close;
  }

 private:
  char* position_;
};

}  // namespace ferncrest
