#include "text/trimmed.h"

#include <utf8proc.h>

#include <algorithm>
#include <cstddef>

#include "text/utf8.h"

namespace ferncrest {

namespace {

bool isAsciiWhiteSpace(char byte) {
  return byte == ' ' || (byte >= '\t' && byte <= '\r');
}

// What most texts begin and end with.
bool isAsciiGraphic(char byte) {
  return byte > ' ' && byte <= '~';
}

bool isWhiteSpace(const Utf8Step& step) {
  if (!step.wellFormed) {
    return false;
  }
  if (step.codePoint < 0x80) {
    return isAsciiWhiteSpace(static_cast<char>(step.codePoint));
  }
  if (step.codePoint == 0x85) {
    return true;
  }
  const utf8proc_category_t category =
      utf8proc_category(static_cast<utf8proc_int32_t>(step.codePoint));
  return category == UTF8PROC_CATEGORY_ZS || category == UTF8PROC_CATEGORY_ZL ||
         category == UTF8PROC_CATEGORY_ZP;
}

bool isContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
}

// The step that ends where `bytes` end, or an ill-formed one when no character does.
Utf8Step lastStep(std::string_view bytes) {
  constexpr std::size_t longest = 4;
  const std::size_t furthest = std::min(longest, bytes.size());
  std::size_t length = 1;
  while (length < furthest && isContinuation(bytes[bytes.size() - length])) {
    ++length;
  }
  Utf8Step step = utf8StepAt(bytes.substr(bytes.size() - length));
  step.wellFormed = step.wellFormed && step.length == length;
  return step;
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  if (!text.empty() && isAsciiGraphic(text.front()) && isAsciiGraphic(text.back())) {
    return text;
  }
  while (!text.empty()) {
    const Utf8Step step = utf8StepAt(text);
    if (!isWhiteSpace(step)) {
      break;
    }
    text.remove_prefix(step.length);
  }
  while (!text.empty()) {
    const Utf8Step step = lastStep(text);
    if (!isWhiteSpace(step)) {
      break;
    }
    text.remove_suffix(step.length);
  }
  return text;
}

}  // namespace ferncrest
