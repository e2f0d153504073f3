#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ferncrest {

/// One step of reading UTF-8.
struct Utf8Step {
  char32_t codePoint;  ///< U+FFFD for an ill-formed step
  std::size_t length;  ///< in bytes; for an ill-formed step the maximal ill-formed subpart
  bool wellFormed;
};

/// The step at the front of `bytes`, which must not be empty.
Utf8Step utf8StepAt(std::string_view bytes);

bool isAscii(std::string_view bytes);
bool isValidUtf8(std::string_view bytes);

/// `bytes` with one U+FFFD in place of each maximal ill-formed subpart.
std::string repairedUtf8(std::string_view bytes);

}  // namespace ferncrest
