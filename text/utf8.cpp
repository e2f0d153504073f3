#include "text/utf8.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace ferncrest {

namespace {

constexpr char32_t replacementCharacter = 0xFFFD;
constexpr std::string_view replacementBytes = "\xEF\xBF\xBD";

std::uint8_t byteAt(std::string_view bytes, std::size_t index) {
  return static_cast<std::uint8_t>(bytes[index]);
}

// What may follow a lead byte: how many bytes, and the range of the first of them. The narrow
// ranges keep out overlong forms, surrogates and everything above U+10FFFF.
struct Lead {
  std::size_t length;
  std::uint8_t secondLow;
  std::uint8_t secondHigh;
};

constexpr Lead leadOf(std::uint8_t byte) {
  if (byte >= 0xC2 && byte <= 0xDF) {
    return {2, 0x80, 0xBF};
  }
  if (byte >= 0xE0 && byte <= 0xEF) {
    return {3, static_cast<std::uint8_t>(byte == 0xE0 ? 0xA0 : 0x80),
            static_cast<std::uint8_t>(byte == 0xED ? 0x9F : 0xBF)};
  }
  if (byte >= 0xF0 && byte <= 0xF4) {
    return {4, static_cast<std::uint8_t>(byte == 0xF0 ? 0x90 : 0x80),
            static_cast<std::uint8_t>(byte == 0xF4 ? 0x8F : 0xBF)};
  }
  return {0, 0, 0};
}

constexpr Utf8Step illFormed(std::size_t length) {
  return {replacementCharacter, length, false};
}

constexpr std::size_t wordSize = sizeof(std::uint64_t);
constexpr std::size_t blockSize = 8 * wordSize;

// Whether the first `size` bytes are ASCII. There is no early exit, so that the compiler can use
// vector instructions.
template <std::size_t size>
bool isAsciiBlock(const char* bytes) {
  std::uint64_t bits = 0;
  for (std::size_t offset = 0; offset < size; offset += wordSize) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes + offset, wordSize);
    bits |= word;
  }
  return (bits & 0x8080808080808080U) == 0;
}

// The number of ASCII bytes at the front. It can be too low by up to seven, because whole words are
// looked at.
std::size_t asciiPrefixLength(std::string_view bytes) {
  const char* const begin = bytes.data();
  std::size_t length = 0;
  while (length + blockSize <= bytes.size() && isAsciiBlock<blockSize>(begin + length)) {
    length += blockSize;
  }
  while (length + wordSize <= bytes.size() && isAsciiBlock<wordSize>(begin + length)) {
    length += wordSize;
  }
  // The last bytes are less than a word: look at the word that ends with them. Its other bytes are
  // known to be ASCII.
  const bool isLastWord = length > 0 && length + wordSize > bytes.size();
  return isLastWord && isAsciiBlock<wordSize>(begin + bytes.size() - wordSize) ? bytes.size()
                                                                               : length;
}

}  // namespace

Utf8Step utf8StepAt(std::string_view bytes) {
  const std::uint8_t first = byteAt(bytes, 0);
  if (first < 0x80) {
    return {first, 1, true};
  }
  const Lead lead = leadOf(first);
  if (lead.length == 0 || bytes.size() < 2 || byteAt(bytes, 1) < lead.secondLow ||
      byteAt(bytes, 1) > lead.secondHigh) {
    return illFormed(1);
  }
  char32_t codePoint = first & (0x7FU >> lead.length);
  for (std::size_t index = 1; index < lead.length; ++index) {
    if (index == bytes.size() || (byteAt(bytes, index) & 0xC0U) != 0x80) {
      return illFormed(index);
    }
    codePoint = (codePoint << 6U) | (byteAt(bytes, index) & 0x3FU);
  }
  return {codePoint, lead.length, true};
}

bool isAscii(std::string_view bytes) {
  bytes.remove_prefix(asciiPrefixLength(bytes));
  return std::ranges::all_of(bytes,
                             [](char byte) { return static_cast<std::uint8_t>(byte) < 0x80; });
}

std::size_t wellFormedLength(std::string_view bytes) {
  std::size_t length = asciiPrefixLength(bytes);
  while (length < bytes.size()) {
    const Utf8Step step = utf8StepAt(bytes.substr(length));
    if (!step.wellFormed) {
      break;
    }
    length += step.length;
    if (step.length == 1) {
      length += asciiPrefixLength(bytes.substr(length));
    }
  }
  return length;
}

bool isValidUtf8(std::string_view bytes) {
  return wellFormedLength(bytes) == bytes.size();
}

std::string repairedUtf8(std::string_view bytes) {
  std::string repaired;
  for (;;) {
    const std::size_t length = wellFormedLength(bytes);
    repaired += bytes.substr(0, length);
    bytes.remove_prefix(length);
    if (bytes.empty()) {
      return repaired;
    }
    repaired += replacementBytes;
    bytes.remove_prefix(utf8StepAt(bytes).length);
  }
}

}  // namespace ferncrest
