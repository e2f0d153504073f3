#include "text/characters.h"

#include <utf8proc.h>

#include <algorithm>

#include "text/utf8.h"

namespace ferncrest {

namespace {

bool isAsciiWhiteSpace(char byte) {
  return byte == ' ' || (byte >= '\t' && byte <= '\r');
}

// Most texts begin and end with such a byte, and then nothing is to be trimmed.
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

// The last character of `bytes`, or an ill-formed step when they do not end with a whole one.
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

std::string_view trimmedAtStart(std::string_view text) {
  while (!text.empty()) {
    const Utf8Step step = utf8StepAt(text);
    if (!isWhiteSpace(step)) {
      break;
    }
    text.remove_prefix(step.length);
  }
  return text;
}

std::string_view trimmedAtEnd(std::string_view text) {
  while (!text.empty()) {
    const Utf8Step step = lastStep(text);
    if (!isWhiteSpace(step)) {
      break;
    }
    text.remove_suffix(step.length);
  }
  return text;
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  if (text.empty() || (isAsciiGraphic(text.front()) && isAsciiGraphic(text.back()))) {
    return text;
  }
  return trimmedAtEnd(trimmedAtStart(text));
}

std::size_t graphemeCount(std::string_view text) {
  if (isAscii(text) && !text.contains('\r')) {
    return text.size();  // CR LF counts as one character
  }
  std::size_t count = 0;
  utf8proc_int32_t previous = -1;
  utf8proc_int32_t state = 0;
  while (!text.empty()) {
    const Utf8Step step = utf8StepAt(text);
    const auto current = static_cast<utf8proc_int32_t>(step.codePoint);
    if (previous < 0 || utf8proc_grapheme_break_stateful(previous, current, &state)) {
      ++count;
    }
    previous = current;
    text.remove_prefix(step.length);
  }
  return count;
}

}  // namespace ferncrest
