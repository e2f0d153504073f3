#pragma once

#include <bitset>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace ferncrest {

/// Reads one JSON text strictly, once, front to back, value by value as the caller asks for them.
/// Malformed text is remembered: from then on every value is `malformed`, every object and list at
/// its end. The text must be valid UTF-8 and outlive the reader.
class JsonReader {
 public:
  enum class Kind { object, array, string, number, boolean, null, malformed };

  /// Deeper nesting is malformed.
  static constexpr std::size_t maximalDepth = 1024;

  explicit JsonReader(std::string_view text);

  /// The kind of the next value, judged by its first character; the value is not read yet.
  [[nodiscard]] Kind peek();

  /// Enters the object or list that comes next; its members are then taken one after the other.
  void enterObject();
  void enterArray();

  /// The next key, valid until the next call; its value must be read next. Nothing at the object's
  /// end, which is left.
  std::optional<std::string_view> nextKey();

  /// Whether another element comes, to be read next; at the list's end, the list is left.
  bool nextElement();

  /// The string or truth value that comes next.
  std::string readString();
  bool readBoolean();

  /// Passes over the next value, whatever it is, checking it to its end.
  void skipValue();

  /// Whether the text held exactly the values that were read, well-formed to its end.
  [[nodiscard]] bool finish();

 private:
  bool takeSeparator(char close);
  void enter(bool isObject);
  void skipScalarOrEnter();
  bool nextSkippedMember();
  std::string_view scanString();
  bool skipEscape();
  bool skipUnicodeEscape();
  std::optional<unsigned> takeHex4();
  void skipNumber();
  bool skipDigits();
  void takeLiteral(std::string_view literal);
  void skipWhiteSpace();
  bool take(char expected);
  void fail();

  const char* position_;
  const char* end_;
  std::size_t depth_ = 0;
  std::bitset<maximalDepth + 1> isObject_;  // by depth
  bool atFirstMember_ = false;
  bool hasEscapes_ = false;  // of the string scanned last
  bool malformed_ = false;
  std::string key_;  // the key read last, if it had escapes
};

}  // namespace ferncrest
