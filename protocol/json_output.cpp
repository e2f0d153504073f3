#include "protocol/json_output.h"

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

}  // namespace

void JsonSize::putEscaped(std::string_view text) {
  size_ += text.size();
  const char* const end = text.data() + text.size();
  const char* special = findSpecial<Solidus::special>(text.data(), end);
  for (; special != end; special = findSpecial<Solidus::special>(special + 1, end)) {
    hasEscapes_ = true;
    size_ += escapeLetter(*special) != '\0' ? 1 : numericEscapeStart.size() + 1;
  }
}

void JsonMemory::escape(std::string_view text) {
  constexpr std::string_view hexDigits = "0123456789abcdef";
  const char* from = text.data();
  const char* const end = from + text.size();
  for (;;) {
    const char* const special = findSpecial<Solidus::special>(from, end);
    put({from, special});
    if (special == end) {
      return;
    }
    from = special + 1;
    if (const char letter = escapeLetter(*special); letter != '\0') {
      put("\\");
      put({&letter, 1});
      continue;
    }
    const auto code = static_cast<unsigned char>(*special);
    put(numericEscapeStart);
    put(hexDigits.substr(code >> 4U, 1));
    put(hexDigits.substr(code & 0xFU, 1));
  }
}

}  // namespace ferncrest
