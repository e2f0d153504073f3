#include "protocol/json_unescape.h"

#include <array>
#include <charconv>
#include <optional>

#include "protocol/json_scan.h"

namespace ferncrest {

namespace {

// The four hexadecimal digits of one UTF-16 code unit, or nothing if they are not there.
std::optional<char32_t> takeHex4(std::string_view& escaped) {
  const std::string_view digits = escaped.substr(0, 4);
  unsigned unit = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), unit, 16);
  if (digits.size() != 4 || end != digits.data() + digits.size()) {
    return std::nullopt;
  }
  escaped.remove_prefix(4);
  return unit;
}

// The code point of a \u escape whose "\u" has been taken. A high surrogate must be followed by a
// low one; a surrogate alone is malformed.
std::optional<char32_t> takeUnicodeEscape(std::string_view& escaped) {
  const auto unit = takeHex4(escaped);
  if (!unit || *unit < 0xD800 || *unit > 0xDFFF) {
    return unit;
  }
  if (*unit > 0xDBFF || !escaped.starts_with("\\u")) {
    return std::nullopt;
  }
  escaped.remove_prefix(2);
  const auto second = takeHex4(escaped);
  if (!second || *second < 0xDC00 || *second > 0xDFFF) {
    return std::nullopt;
  }
  return 0x10000 + ((*unit - 0xD800) << 10U) + (*second - 0xDC00);
}

char* putUtf8(char* to, char32_t codePoint) {
  const auto put = [&](char32_t bits) { *to++ = static_cast<char>(bits); };
  if (codePoint < 0x80) {
    put(codePoint);
    return to;
  }
  if (codePoint < 0x800) {
    put(0xC0U | (codePoint >> 6U));
  } else if (codePoint < 0x10000) {
    put(0xE0U | (codePoint >> 12U));
    put(0x80U | ((codePoint >> 6U) & 0x3FU));
  } else {
    put(0xF0U | (codePoint >> 18U));
    put(0x80U | ((codePoint >> 12U) & 0x3FU));
    put(0x80U | ((codePoint >> 6U) & 0x3FU));
  }
  put(0x80U | (codePoint & 0x3FU));
  return to;
}

// The character that the letter of an escape other than \u stands for; NUL for any other letter.
constexpr std::array<char, 256> simpleEscapes = [] {
  std::array<char, 256> escapes{};
  escapes['"'] = '"';
  escapes['\\'] = '\\';
  escapes['/'] = '/';
  escapes['b'] = '\b';
  escapes['f'] = '\f';
  escapes['n'] = '\n';
  escapes['r'] = '\r';
  escapes['t'] = '\t';
  return escapes;
}();

// Takes the escape at the front and writes its character; null if it is malformed.
char* unescapeOne(std::string_view& escaped, char* to) {
  if (escaped.size() < 2 || escaped[0] != '\\') {
    return nullptr;
  }
  const char letter = escaped[1];
  escaped.remove_prefix(2);
  if (letter == 'u') {
    const auto codePoint = takeUnicodeEscape(escaped);
    return codePoint ? putUtf8(to, *codePoint) : nullptr;
  }
  *to = simpleEscapes[static_cast<unsigned char>(letter)];
  return *to == '\0' ? nullptr : to + 1;
}

}  // namespace

char* unescape(std::string_view escaped, char* to) {
  // An escape is never shorter than the UTF-8 of its character, so there is always room at `to`.
  while (to != nullptr && !escaped.empty()) {
    const char* const special =
        copyPlain<Solidus::plain>(escaped.data(), escaped.data() + escaped.size(), to);
    const auto plain = static_cast<std::size_t>(special - escaped.data());
    to += plain;
    escaped.remove_prefix(plain);
    if (!escaped.empty()) {
      to = unescapeOne(escaped, to);
    }
  }
  return to;
}

}  // namespace ferncrest
