#include <simdjson.h>
#include <utf8proc.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "require.h"
#include "text/canonical.h"
#include "text/characters.h"
#include "text/utf8.h"

// Properties of the functions in text/ that must hold for all inputs.

namespace ferncrest::fuzz {

namespace {

// utf8proc is slow for longer runs of combining marks.
constexpr std::size_t longestText = 4096;

std::string normalized(std::string_view text, int form) {
  utf8proc_uint8_t* result = nullptr;
  const utf8proc_ssize_t size =
      utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                   static_cast<utf8proc_ssize_t>(text.size()), &result,
                   static_cast<utf8proc_option_t>(UTF8PROC_STABLE | form));
  require(size >= 0, "valid text can be normalized");
  std::string owned(reinterpret_cast<const char*>(result), static_cast<std::size_t>(size));
  std::free(result);
  return owned;
}

void checkRepair(std::string_view text) {
  const std::string repaired = repairedUtf8(text);
  require(isValidUtf8(repaired) && simdjson::validate_utf8(repaired), "repaired text is valid");
  require(repairedUtf8(repaired) == repaired, "repair is done once");
  require(isValidUtf8(text) == (repaired == text), "only ill-formed text is changed");
  require(isValidUtf8(text) == simdjson::validate_utf8(text.data(), text.size()),
          "another library finds the same texts valid");
  require(isAscii(text) == std::ranges::all_of(text, [](char byte) { return (byte & 0x80) == 0; }),
          "ASCII is below 0x80");
}

void checkTrim(std::string_view text) {
  const std::string_view inner = trimmed(text);
  require(trimmed(inner) == inner, "trimming is done once");
  require(text.contains(inner), "trimming only takes away");
  require(trimmed(repairedUtf8(text)) == repairedUtf8(inner), "repair makes no white space");
  require(trimmed("\u2003" + std::string(inner) + "\u0085\n") == inner, "white space goes");
}

void checkGraphemes(std::string_view left, std::string_view right) {
  const std::string both = std::string(left) + std::string(right);
  std::size_t characters = 0;
  for (std::string_view rest = both; !rest.empty(); ++characters) {
    rest.remove_prefix(utf8StepAt(rest).length);
  }
  const std::size_t count = graphemeCount(both);
  require(count <= characters && (count == 0) == both.empty(), "clusters hold characters");
  require(count <= graphemeCount(left) + graphemeCount(right), "joining makes no clusters");
  require(count == graphemeCount(repairedUtf8(both)), "ill-formed bytes count as repaired");
}

void checkEquality(const std::string& left, const std::string& right) {
  const bool areEqual = canonicallyEqual(left, right);
  require(canonicallyEqual(left, std::string(left)), "every text equals itself");
  require(areEqual == canonicallyEqual(right, left), "equality has no direction");
  if (!isValidUtf8(left) || !isValidUtf8(right)) {
    require(areEqual == (left == right), "invalid text equals only itself");
    return;
  }
  const std::string decomposed = normalized(left, UTF8PROC_DECOMPOSE);
  require(areEqual == (decomposed == normalized(right, UTF8PROC_DECOMPOSE)),
          "another library finds the same texts equal");
  require(canonicallyEqual(left, decomposed), "a text equals its decomposition");
  // utf8proc 2.8 loses a U+11A7 after a Hangul syllable: in the arithmetic of composition, that
  // code point stands for "no final consonant".
  require(left.contains("\u11A7") || canonicallyEqual(left, normalized(left, UTF8PROC_COMPOSE)),
          "a text equals its composition");
}

// The first byte says where the text is cut in two.
void check(std::string_view input) {
  const std::size_t cut = static_cast<std::uint8_t>(input.front()) % input.size();
  const std::string left(input.substr(1, cut));
  const std::string right(input.substr(1 + cut));
  for (const std::string& text : {left, right}) {
    checkRepair(text);
    checkTrim(text);
  }
  checkGraphemes(left, right);
  checkEquality(left, right);
  checkEquality(repairedUtf8(left), repairedUtf8(right));
}

}  // namespace

}  // namespace ferncrest::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size == 0 || size > ferncrest::fuzz::longestText) {
    return -1;
  }
  ferncrest::fuzz::check({reinterpret_cast<const char*>(bytes), size});
  return 0;
}
