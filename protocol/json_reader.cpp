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

// Whether a string has no escapes but those that base64 has, of the solidus and of line ends, and
// nothing malformed. `text` is the string and its closing quotation mark. Looks at all bytes and
// without branches, so that the compiler uses vector instructions: such strings are long and have
// too many escapes to stop at each.
bool hasOnlyEscapesOfBase64(std::string_view text) {
  unsigned char others = 0;
  for (std::size_t next = 1; next < text.size(); ++next) {
    const auto byte = static_cast<unsigned char>(text[next - 1]);
    const char letter = text[next];
    const bool isOther =
        (byte < 0x20) | ((byte == '\\') & (letter != '/') & (letter != 'n') & (letter != 'r'));
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
  const auto escaped = takeUpToClosingMark();
  if (escaped && !hasOnlyEscapesOfBase64({escaped->data(), escaped->size() + 1})) {
    unescapeTo(unescaped_, *escaped);
  }
}

bool JsonReader::finish() {
  static_cast<void>(nextCharacter());
  return !malformed_ && position_ == end_;
}

void JsonReader::takeEscapedString(std::string& text) {
  if (const auto escaped = takeUpToClosingMark()) {
    unescapeTo(text, *escaped);
  }
}

// The inside of the string that comes next, as it stands in the text.
std::optional<std::string_view> JsonReader::takeUpToClosingMark() {
  const std::string_view rest(position_ + 1, end_);
  const std::size_t mark = findClosingMark(rest);
  if (mark == std::string_view::npos) {
    fail();
    return std::nullopt;
  }
  position_ = rest.data() + mark + 1;
  return rest.substr(0, mark);
}

void JsonReader::unescapeTo(std::string& text, std::string_view escaped) {
  text.resize_and_overwrite(escaped.size(), [&](char* to, std::size_t) -> std::size_t {
    const char* const end = unescape(escaped, to);
    if (end == nullptr) {
      fail();
      return 0;
    }
    return static_cast<std::size_t>(end - to);
  });
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
