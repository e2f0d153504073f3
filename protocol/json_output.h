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
  [[nodiscard]] bool hasEscapes() const { return hasEscapes_; }

 private:
  std::size_t size_ = 0;
  bool hasEscapes_ = false;
};

/// Memory for the JSON text that a JsonSize has counted.
class JsonMemory {
 public:
  JsonMemory(char* begin, JsonSize counted) : position_(begin), hasEscapes_(counted.hasEscapes()) {}

  void put(std::string_view bytes) {
    std::memcpy(position_, bytes.data(), bytes.size());
    position_ += bytes.size();
  }
  void putEscaped(std::string_view text) {
    if (hasEscapes_) {
      escape(text);
    } else {
      put(text);
    }
  }
  void enclose(JsonMemory begin, char open, char close) {
    position_ += position_ == begin.position_ ? 1 : 0;
    *begin.position_ = open;
    *position_++ = close;
  }

 private:
  void escape(std::string_view text);

  char* position_;
  bool hasEscapes_;  // somewhere in what was counted
};

}  // namespace ferncrest
