#include "text/canonical.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "text/utf8.h"

namespace ferncrest {

namespace {

int combiningClass(char32_t codePoint) {
  return utf8proc_get_property(static_cast<utf8proc_int32_t>(codePoint))->combining_class;
}

bool isStarter(char32_t codePoint) {
  return combiningClass(codePoint) == 0;
}

void appendDecomposition(std::u32string& text, char32_t codePoint) {
  std::array<utf8proc_int32_t, 8> parts{};  // no canonical decomposition has more than four
  int boundClass = 0;
  const utf8proc_ssize_t count =
      utf8proc_decompose_char(static_cast<utf8proc_int32_t>(codePoint), parts.data(), parts.size(),
                              UTF8PROC_DECOMPOSE, &boundClass);
  for (utf8proc_ssize_t index = 0; index < count; ++index) {
    text += static_cast<char32_t>(parts.at(static_cast<std::size_t>(index)));
  }
}

// A mark as one number, most significant bits first: combining class, place in its run, code point.
// So sorting the numbers keeps marks of one class in their order.
constexpr unsigned codePointBits = 21;
constexpr unsigned placeBits = 35;

std::uint64_t packed(char32_t mark, std::ptrdiff_t place) {
  const auto classAndPlace = (static_cast<std::uint64_t>(combiningClass(mark)) << placeBits) |
                             static_cast<std::uint64_t>(place);
  return (classAndPlace << codePointBits) | mark;
}

char32_t unpacked(std::uint64_t mark) {
  return static_cast<char32_t>(mark & ((1U << codePointBits) - 1));
}

// Sorts each run of marks, because exchanging neighbours would take quadratic time on the long runs
// that a hostile text may have.
void orderMarks(std::u32string& text) {
  std::vector<std::uint64_t> run;
  auto end = text.begin();
  while (end != text.end()) {
    const auto begin = std::ranges::find_if_not(end, text.end(), isStarter);
    end = std::ranges::find_if(begin, text.end(), isStarter);
    run.clear();
    run.reserve(static_cast<std::size_t>(end - begin));
    for (auto mark = begin; mark != end; ++mark) {
      run.push_back(packed(*mark, mark - begin));
    }
    std::ranges::sort(run);
    std::ranges::transform(run, begin, unpacked);
  }
}

std::u32string canonicalForm(std::string_view text) {
  std::u32string form;
  while (!text.empty()) {
    const Utf8Step step = utf8StepAt(text);
    appendDecomposition(form, step.codePoint);
    text.remove_prefix(step.length);
  }
  orderMarks(form);
  return form;
}

}  // namespace

bool canonicallyEqual(std::string_view left, std::string_view right) {
  if (left == right) {
    return true;
  }
  if ((isAscii(left) && isAscii(right)) || !isValidUtf8(left) || !isValidUtf8(right)) {
    return false;
  }
  return canonicalForm(left) == canonicalForm(right);
}

}  // namespace ferncrest
