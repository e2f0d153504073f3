#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ferncrest {

/// The characters that end a run of plain ones inside a JSON string: always the quotation mark, the
/// backslash and everything below U+0020, and on request the solidus.
enum class Solidus { plain, special };

template <Solidus solidus>
constexpr bool isSpecial(char byte) {
  return byte == '"' || byte == '\\' || static_cast<unsigned char>(byte) < 0x20 ||
         (solidus == Solidus::special && byte == '/');
}

namespace scan {

inline constexpr std::uint64_t lowBits = 0x0101010101010101U;
inline constexpr std::uint64_t highBits = 0x8080808080808080U;

// The high bit of each byte that is zero; a byte above a zero one may be marked as well.
constexpr std::uint64_t zeroBytes(std::uint64_t word) {
  return (word - lowBits) & ~word & highBits;
}

constexpr std::uint64_t bytesEqualTo(std::uint64_t word, char byte) {
  return zeroBytes(word ^ (lowBits * static_cast<unsigned char>(byte)));
}

template <Solidus solidus>
constexpr bool hasSpecial(std::uint64_t word) {
  const std::uint64_t always = ((word - lowBits * 0x20) & ~word & highBits) |
                               bytesEqualTo(word, '"') | bytesEqualTo(word, '\\');
  if constexpr (solidus == Solidus::special) {
    return (always | bytesEqualTo(word, '/')) != 0;
  }
  return always != 0;
}

}  // namespace scan

/// The first special character in [from, end), or `end`.
template <Solidus solidus>
const char* findSpecial(const char* from, const char* end) {
  std::uint64_t word = 0;
  while (static_cast<std::size_t>(end - from) >= sizeof word) {
    std::memcpy(&word, from, sizeof word);
    if (scan::hasSpecial<solidus>(word)) {
      break;
    }
    from += sizeof word;
  }
  while (from != end && !isSpecial<solidus>(*from)) {
    ++from;
  }
  return from;
}

}  // namespace ferncrest
