#include "text/graphemes.h"

#include <utf8proc.h>

#include "text/utf8.h"

namespace ferncrest {

std::size_t graphemeCount(std::string_view text) {
  if (isAscii(text) && !text.contains('\r')) {
    return text.size();  // a carriage return and line feed would be one character
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
