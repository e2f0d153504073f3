#include "protocol/json_unescape.h"

#include <charconv>

namespace ferncrest {

namespace {

char32_t takeHex4(std::string_view& escaped) {
  const std::string_view digits = escaped.substr(0, 4);
  escaped.remove_prefix(4);
  unsigned unit = 0;
  std::from_chars(digits.begin(), digits.end(), unit, 16);
  return unit;
}

// The character of a \u escape whose "\u" has been taken: one unit, or the two of a pair.
char32_t takeUnicodeEscape(std::string_view& escaped) {
  const char32_t unit = takeHex4(escaped);
  if (unit < 0xD800 || unit > 0xDBFF) {
    return unit;
  }
  escaped.remove_prefix(2);
  return 0x10000 + ((unit - 0xD800) << 10U) + (takeHex4(escaped) - 0xDC00);
}

void appendUtf8(std::string& text, char32_t codePoint) {
  const auto append = [&](char32_t bits) { text += static_cast<char>(bits); };
  if (codePoint < 0x80) {
    return append(codePoint);
  }
  if (codePoint < 0x800) {
    append(0xC0U | (codePoint >> 6U));
    return append(0x80U | (codePoint & 0x3FU));
  }
  if (codePoint < 0x10000) {
    append(0xE0U | (codePoint >> 12U));
  } else {
    append(0xF0U | (codePoint >> 18U));
    append(0x80U | ((codePoint >> 12U) & 0x3FU));
  }
  append(0x80U | ((codePoint >> 6U) & 0x3FU));
  append(0x80U | (codePoint & 0x3FU));
}

char simpleEscape(char letter) {
  switch (letter) {
    case 'b':
      return '\b';
    case 'f':
      return '\f';
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 't':
      return '\t';
    default:
      return letter;  // quotation mark, backslash and solidus stand for themselves
  }
}

}  // namespace

std::string unescaped(std::string_view escaped) {
  std::string text;
  text.reserve(escaped.size());  // no escape is shorter than what it stands for
  while (!escaped.empty()) {
    const std::string_view plain = escaped.substr(0, escaped.find('\\'));
    text += plain;
    escaped.remove_prefix(plain.size());
    if (escaped.empty()) {
      break;
    }
    const char letter = escaped[1];
    escaped.remove_prefix(2);
    if (letter == 'u') {
      appendUtf8(text, takeUnicodeEscape(escaped));
    } else {
      text += simpleEscape(letter);
    }
  }
  return text;
}

}  // namespace ferncrest
