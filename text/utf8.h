#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ferncrest {

/// One character of UTF-8, or one ill-formed sequence in its place.
struct Utf8Step {
  char32_t codePoint;  ///< U+FFFD for an ill-formed step
  std::size_t length;  ///< in bytes; of an ill-formed sequence its maximal subpart
  bool wellFormed;
};

/// The step at the front of `bytes`, which must not be empty.
Utf8Step utf8StepAt(std::string_view bytes);

/// Whether every byte is below 0x80.
bool isAscii(std::string_view bytes);
/// The length of the well-formed text at the front: no overlong forms, surrogates or code points
/// above U+10FFFF.
std::size_t wellFormedLength(std::string_view bytes);
/// Whether all of `bytes` is well-formed.
bool isValidUtf8(std::string_view bytes);

/// `bytes` with one U+FFFD in place of each maximal ill-formed subpart.
std::string repairedUtf8(std::string_view bytes);

}  // namespace ferncrest
