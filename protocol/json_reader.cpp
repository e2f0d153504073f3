#include "protocol/json_reader.h"

#include "protocol/json_scan.h"
#include "protocol/json_unescape.h"

namespace ferncrest {

namespace {

bool isDigit(char byte) {
  return byte >= '0' && byte <= '9';
}

}  // namespace

JsonReader::JsonReader(std::string_view text)
    : position_(text.data()), end_(text.data() + text.size()) {}

JsonReader::Kind JsonReader::peek() {
  skipWhiteSpace();
  switch (position_ == end_ ? '\0' : *position_) {
    case '{':
      return Kind::object;
    case '[':
      return Kind::array;
    case '"':
      return Kind::string;
    case 't':
    case 'f':
      return Kind::boolean;
    case 'n':
      return Kind::null;
    case '-':
      return Kind::number;
    default:
      return position_ != end_ && isDigit(*position_) ? Kind::number : Kind::malformed;
  }
}

void JsonReader::enterObject() {
  enter(true);
}

void JsonReader::enterArray() {
  enter(false);
}

void JsonReader::enter(bool isObject) {
  if (depth_ == maximalDepth) {
    return fail();
  }
  ++position_;
  ++depth_;
  isObject_[depth_] = isObject;
  atFirstMember_ = true;
}

// Takes what stands before a member, or leaves the object or list at its end. Whether a value was
// just read follows from the order of calls, so one flag is enough for all levels.
bool JsonReader::takeSeparator(char close) {
  if (malformed_) {
    return false;
  }
  skipWhiteSpace();
  const bool first = atFirstMember_;
  atFirstMember_ = false;
  if (take(close)) {
    --depth_;
    return false;
  }
  if (!first && !take(',')) {
    fail();
    return false;
  }
  return true;
}

std::optional<std::string_view> JsonReader::nextKey() {
  if (!takeSeparator('}')) {
    return std::nullopt;
  }
  if (peek() != Kind::string) {
    fail();
    return std::nullopt;
  }
  std::string_view key = scanString();
  if (!malformed_ && hasEscapes_) {
    key_ = unescaped(key);
    key = key_;
  }
  skipWhiteSpace();
  if (malformed_ || !take(':')) {
    fail();
    return std::nullopt;
  }
  return key;
}

bool JsonReader::nextElement() {
  return takeSeparator(']');
}

std::string JsonReader::readString() {
  const std::string_view characters = scanString();
  if (malformed_ || !hasEscapes_) {
    return std::string(characters);
  }
  return unescaped(characters);
}

bool JsonReader::readBoolean() {
  const bool value = *position_ == 't';
  takeLiteral(value ? "true" : "false");
  return value;
}

void JsonReader::skipValue() {
  const std::size_t outside = depth_;
  do {
    skipScalarOrEnter();
    while (depth_ > outside && !nextSkippedMember() && !malformed_) {
    }
  } while (depth_ > outside && !malformed_);
}

void JsonReader::skipScalarOrEnter() {
  switch (peek()) {
    case Kind::object:
      return enterObject();
    case Kind::array:
      return enterArray();
    case Kind::string:
      scanString();
      return;
    case Kind::number:
      return skipNumber();
    case Kind::boolean:
      readBoolean();
      return;
    case Kind::null:
      return takeLiteral("null");
    case Kind::malformed:
      return fail();
  }
}

bool JsonReader::nextSkippedMember() {
  return isObject_[depth_] ? nextKey().has_value() : nextElement();
}

bool JsonReader::finish() {
  skipWhiteSpace();
  return !malformed_ && position_ == end_;
}

// The characters between the quotation marks, still escaped.
std::string_view JsonReader::scanString() {
  hasEscapes_ = false;
  const char* const begin = ++position_;
  for (;;) {
    position_ = findSpecial<Solidus::plain>(position_, end_);
    if (take('"')) {
      return {begin, position_ - 1};
    }
    if (!skipEscape()) {
      fail();
      return {};
    }
    hasEscapes_ = true;
  }
}

bool JsonReader::skipEscape() {
  if (!take('\\') || position_ == end_) {
    return false;
  }
  const char letter = *position_++;
  if (letter == 'u') {
    return skipUnicodeEscape();
  }
  return std::string_view("\"\\/bfnrt").contains(letter);
}

// A surrogate names a character only as the first of a pair; alone it is malformed.
bool JsonReader::skipUnicodeEscape() {
  const auto unit = takeHex4();
  if (!unit || (*unit >= 0xDC00 && *unit <= 0xDFFF)) {
    return false;
  }
  if (*unit < 0xD800 || *unit > 0xDBFF) {
    return true;
  }
  if (!take('\\') || !take('u')) {
    return false;
  }
  const auto second = takeHex4();
  return second && *second >= 0xDC00 && *second <= 0xDFFF;
}

std::optional<unsigned> JsonReader::takeHex4() {
  unsigned unit = 0;
  for (int digit = 0; digit < 4; ++digit) {
    const char byte = position_ == end_ ? '\0' : *position_++;
    const char lower = static_cast<char>(byte | 0x20);
    if (isDigit(byte)) {
      unit = unit * 16 + static_cast<unsigned>(byte - '0');
    } else if (lower >= 'a' && lower <= 'f') {
      unit = unit * 16 + static_cast<unsigned>(lower - 'a' + 10);
    } else {
      return std::nullopt;
    }
  }
  return unit;
}

void JsonReader::skipNumber() {
  take('-');
  bool wellFormed = take('0') || skipDigits();
  if (wellFormed && take('.')) {
    wellFormed = skipDigits();
  }
  if (wellFormed && (take('e') || take('E'))) {
    if (!take('+')) {
      take('-');
    }
    wellFormed = skipDigits();
  }
  if (!wellFormed) {
    fail();
  }
}

bool JsonReader::skipDigits() {
  const char* const begin = position_;
  while (position_ != end_ && isDigit(*position_)) {
    ++position_;
  }
  return position_ != begin;
}

void JsonReader::takeLiteral(std::string_view literal) {
  if (!std::string_view(position_, end_).starts_with(literal)) {
    return fail();
  }
  position_ += literal.size();
}

void JsonReader::skipWhiteSpace() {
  while (position_ != end_ &&
         (*position_ == ' ' || *position_ == '\t' || *position_ == '\r' || *position_ == '\n')) {
    ++position_;
  }
}

bool JsonReader::take(char expected) {
  if (position_ == end_ || *position_ != expected) {
    return false;
  }
  ++position_;
  return true;
}

void JsonReader::fail() {
  malformed_ = true;
  position_ = end_;  // whatever is asked for next finds nothing
}

}  // namespace ferncrest
