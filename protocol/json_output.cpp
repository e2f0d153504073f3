#include "protocol/json_output.h"

#include <algorithm>

#include "protocol/json_scan.h"

namespace ferncrest {

namespace {

// The letter of a character's two-byte escape, or nothing if it takes a numeric one.
constexpr char escapeLetter(char special) {
  switch (special) {
    case '\b':
      return 'b';
    case '\f':
      return 'f';
    case '\n':
      return 'n';
    case '\r':
      return 'r';
    case '\t':
      return 't';
    case '"':
    case '\\':
    case '/':
      return special;
    default:
      return '\0';
  }
}

constexpr std::string_view numericEscapeStart = "\\u00";

char* putEscape(char special, char* to) {
  constexpr std::string_view hexDigits = "0123456789abcdef";
  const char letter = escapeLetter(special);
  if (letter != '\0') {
    *to++ = '\\';
    *to++ = letter;
    return to;
  }
  const auto code = static_cast<unsigned char>(special);
  to = std::ranges::copy(numericEscapeStart, to).out;
  *to++ = hexDigits[code >> 4U];
  *to++ = hexDigits[code & 0xFU];
  return to;
}

}  // namespace

std::size_t JsonSize::escapedSize(std::string_view text) {
  std::size_t size = text.size();
  const char* const end = text.data() + text.size();
  const char* special = findSpecial<Solidus::special>(text.data(), end);
  for (; special != end; special = findSpecial<Solidus::special>(special + 1, end)) {
    size += escapeLetter(*special) != '\0' ? 1 : longestEscape - 1;
  }
  return size;
}

char* JsonMemory::escape(std::string_view text, char* to) {
  const char* special = text.data();
  const char* const end = special + text.size();
  while (special != end) {
    to = putEscape(*special, to);
    const char* const from = special + 1;
    special = copyPlain<Solidus::special>(from, end, to);
    to += special - from;
  }
  return to;
}

}  // namespace ferncrest
