#include "protocol/json_reader.h"

#include <bitset>

#include "protocol/json_unescape.h"

namespace ferncrest {

namespace {

bool isDigit(char byte) {
  return byte >= '0' && byte <= '9';
}

// The position of the quotation mark that ends the string at the front of `text`: the first one
// with an even number of backslashes in front.
std::size_t findClosingMark(std::string_view text) {
  std::size_t mark = text.find('"');
  for (; mark != std::string_view::npos; mark = text.find('"', mark + 1)) {
    std::size_t backslashes = 0;
    while (backslashes < mark && text[mark - 1 - backslashes] == '\\') {
      ++backslashes;
    }
    if (backslashes % 2 == 0) {
      break;
    }
  }
  return mark;
}

// Whether nothing but the solidus is escaped, and nothing malformed, in a string whose quotation
// mark is the last byte of `text`. Looks at all bytes and without branches, so that the compiler
// uses vector instructions: a string in base64 has too many escapes to stop at each.
bool escapesOnlySolidi(std::string_view text) {
  unsigned char others = 0;
  for (std::size_t next = 1; next < text.size(); ++next) {
    const auto byte = static_cast<unsigned char>(text[next - 1]);
    const bool isOther = (byte < 0x20) | ((byte == '\\') & (text[next] != '/'));
    others |= static_cast<unsigned char>(isOther);
  }
  return others == 0;
}

}  // namespace

bool JsonReader::readBoolean() {
  const bool value = *position_ == 't';
  takeLiteral(value ? "true" : "false");
  return value;
}

void JsonReader::skipValue() {
  const std::size_t outside = depth_;
  std::bitset<maximalDepth + 1> isObject;  // by depth
  do {
    const Kind kind = peek();
    if (kind == Kind::object || kind == Kind::array) {
      enter();
      isObject[depth_] = kind == Kind::object;
    } else {
      skipScalar(kind);
    }
    while (depth_ > outside && !malformed_ &&
           !(isObject[depth_] ? nextKey().has_value() : nextElement())) {
    }
  } while (depth_ > outside && !malformed_);
}

void JsonReader::skipScalar(Kind kind) {
  switch (kind) {
    case Kind::string:
      return skipString();
    case Kind::number:
      return skipNumber();
    case Kind::boolean:
      readBoolean();
      return;
    case Kind::null:
      return takeLiteral("null");
    default:
      return fail();
  }
}

void JsonReader::skipString() {
  if (takePlainString()) {
    return;
  }
  const std::string_view rest(position_ + 1, end_);
  const std::size_t mark = findClosingMark(rest);
  if (mark != std::string_view::npos && escapesOnlySolidi(rest.substr(0, mark + 1))) {
    position_ = rest.data() + mark + 1;
  } else {
    takeEscapedString(unescaped_);
  }
}

bool JsonReader::finish() {
  static_cast<void>(nextCharacter());
  return !malformed_ && position_ == end_;
}

void JsonReader::takeEscapedString(std::string& text) {
  const std::string_view rest(position_ + 1, end_);
  const std::size_t length = findClosingMark(rest);
  if (length == std::string_view::npos) {
    return fail();
  }
  const char* end = nullptr;
  text.resize_and_overwrite(length, [&](char* to, std::size_t) {
    end = unescape(rest.substr(0, length), to);
    return end == nullptr ? 0 : end - to;
  });
  if (end == nullptr) {
    return fail();
  }
  position_ = rest.data() + length + 1;
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

bool JsonReader::take(char expected) {
  if (position_ == end_ || *position_ != expected) {
    return false;
  }
  ++position_;
  return true;
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

}  // namespace ferncrest
