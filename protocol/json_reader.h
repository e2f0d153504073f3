#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "protocol/json_scan.h"

namespace ferncrest {

/// Reads one JSON text in one pass, value by value as the caller asks for them, and accepts nothing
/// that the grammar does not allow. After malformed text every value is `malformed`, and every
/// object and array is at its end. The text is borrowed; it must be valid UTF-8.
class JsonReader {
 public:
  enum class Kind : unsigned char { malformed, object, array, string, number, boolean, null };

  /// Deeper nesting is malformed.
  static constexpr std::size_t maximalDepth = 1024;

  explicit JsonReader(std::string_view text)
      : position_(text.data()), end_(text.data() + text.size()) {}

  /// The kind of the next value, which its first character tells. The value is not read yet.
  [[nodiscard]] Kind peek();

  /// Enter the object or array that comes next, to read its members one after the other.
  void enterObject() { enter(); }
  void enterArray() { enter(); }

  /// The next key, borrowed until the next call; its value must be read next. At the end of the
  /// object it gives nothing and leaves the object.
  std::optional<std::string_view> nextKey();

  /// Whether there is another element, which must be read next. At the end of the array it leaves
  /// the array.
  bool nextElement() { return takeSeparator(']'); }

  /// Read the string or boolean that comes next; peek() must have reported it.
  void readString(std::string& text);
  bool readBoolean();

  /// Skips the next value, of any kind, and checks that it is well-formed.
  void skipValue();

  /// Whether everything that was read was well-formed and nothing but white space follows.
  [[nodiscard]] bool finish();

 private:
  bool takeSeparator(char close);
  void enter();
  void skipScalar(Kind kind);
  void skipString();
  std::string_view takeString(std::string& unescaped);
  std::optional<std::string_view> takePlainString();
  void takeEscapedString(std::string& text);
  std::optional<std::string_view> takeUpToClosingMark();
  void unescapeTo(std::string& text, std::string_view escaped);
  void skipNumber();
  bool skipDigits();
  void takeLiteral(std::string_view literal);
  char nextCharacter();
  bool take(char expected);
  void fail();

  static constexpr std::array<Kind, 256> kindsByFirstCharacter = [] {
    std::array<Kind, 256> kinds{};
    for (unsigned char digit = '0'; digit <= '9'; ++digit) {
      kinds[digit] = Kind::number;
    }
    kinds['-'] = Kind::number;
    kinds['{'] = Kind::object;
    kinds['['] = Kind::array;
    kinds['"'] = Kind::string;
    kinds['t'] = kinds['f'] = Kind::boolean;
    kinds['n'] = Kind::null;
    return kinds;
  }();

  const char* position_;
  const char* end_;
  std::size_t depth_ = 0;
  bool atFirstMember_ = false;
  bool malformed_ = false;
  std::string unescaped_;  // memory for keys and skipped strings that have escapes
};

// Inline, because every value of a short request goes through these functions.

inline JsonReader::Kind JsonReader::peek() {
  return kindsByFirstCharacter[static_cast<unsigned char>(nextCharacter())];
}

inline std::optional<std::string_view> JsonReader::nextKey() {
  if (!takeSeparator('}')) {
    return std::nullopt;
  }
  if (nextCharacter() != '"') {
    fail();
    return std::nullopt;
  }
  const std::string_view key = takeString(unescaped_);
  if (nextCharacter() != ':') {
    fail();
    return std::nullopt;
  }
  ++position_;
  return key;
}

// Takes the comma before a member, or leaves the object or array at its end. A member is the first
// one only right after enter(), so one flag is enough for all levels.
inline bool JsonReader::takeSeparator(char close) {
  const char next = nextCharacter();
  const bool first = std::exchange(atFirstMember_, false);
  if (next == close) {
    ++position_;
    --depth_;
    return false;
  }
  if (first) {
    return true;
  }
  if (next != ',') {
    fail();
    return false;
  }
  ++position_;
  return true;
}

inline void JsonReader::enter() {
  if (depth_ == maximalDepth) {
    return fail();
  }
  ++position_;
  ++depth_;
  atFirstMember_ = true;
}

inline void JsonReader::readString(std::string& text) {
  if (const auto plain = takePlainString()) {
    text = *plain;
  } else {
    takeEscapedString(text);
  }
}

// The text of the string that comes next; with escapes, `unescaped` holds it.
inline std::string_view JsonReader::takeString(std::string& unescaped) {
  if (const auto plain = takePlainString()) {
    return *plain;
  }
  takeEscapedString(unescaped);
  return unescaped;
}

// The string that comes next, if it has no escapes.
inline std::optional<std::string_view> JsonReader::takePlainString() {
  const char* const begin = position_ + 1;
  const char* const close = findSpecial<Solidus::plain>(begin, end_);
  if (close == end_ || *close != '"') {
    return std::nullopt;
  }
  position_ = close + 1;
  return std::string_view(begin, close);
}

// The next character that is no white space, which is not taken yet; NUL at the end.
inline char JsonReader::nextCharacter() {
  for (; position_ != end_; ++position_) {
    const char next = *position_;
    if (next != ' ' && next != '\t' && next != '\r' && next != '\n') {
      return next;
    }
  }
  return '\0';
}

inline void JsonReader::fail() {
  malformed_ = true;
  position_ = end_;  // nothing more is found
}

}  // namespace ferncrest
