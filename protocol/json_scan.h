#pragma once

#include <algorithm>
#include <bit>
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

static_assert(std::endian::native == std::endian::little, "the first byte is a word's lowest");

using Word = std::uint64_t;

inline constexpr Word eachByte = 0x0101010101010101U;
inline constexpr Word highBits = 0x80 * eachByte;

inline Word load(const char* bytes) {
  Word word = 0;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

// A word with the high bit set in each special byte. Only the lowest set bit can be relied on: the
// subtraction may borrow from the bytes above it.
template <Solidus solidus>
Word specialBytes(Word word) {
  // XOR with 2 maps '"' (0x22) to 0x20, next to 0x00 to 0x1F, so one subtraction finds both.
  const Word controlOrQuote = (word ^ (0x02 * eachByte)) - 0x21 * eachByte;
  const Word backslash = (word ^ ('\\' * eachByte)) - eachByte;
  const Word slash = (word ^ ('/' * eachByte)) - eachByte;
  const Word always = controlOrQuote | backslash;
  return (solidus == Solidus::special ? always | slash : always) & ~word & highBits;
}

inline std::ptrdiff_t firstMarked(Word marked) {
  return std::countr_zero(marked) / 8;
}

}  // namespace scan

/// The first special character in [begin, end), or `end`.
template <Solidus solidus>
const char* findSpecial(const char* begin, const char* end) {
  constexpr std::ptrdiff_t wordSize = sizeof(scan::Word);
  const char* from = begin;
  for (; end - from >= wordSize; from += wordSize) {
    if (const scan::Word marked = scan::specialBytes<solidus>(scan::load(from)); marked != 0) {
      return from + scan::firstMarked(marked);
    }
  }
  if (end - begin >= wordSize) {
    // The last bytes are less than a word: look at the word that ends with them. Its other bytes
    // are known to be plain.
    const scan::Word marked = scan::specialBytes<solidus>(scan::load(end - wordSize));
    return marked == 0 ? end : end - wordSize + scan::firstMarked(marked);
  }
  return std::find_if(from, end, isSpecial<solidus>);
}

}  // namespace ferncrest
