#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

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

/// Bytes that are compared all at once, with vector instructions that every x86-64 and arm64
/// processor has.
using WholeBlock [[gnu::vector_size(16)]] = unsigned char;
using HalfBlock [[gnu::vector_size(8)]] = unsigned char;

template <typename Block>
inline constexpr std::ptrdiff_t sizeOf = sizeof(Block);

template <typename Block>
Block load(const char* bytes) {
  Block block{};
  std::memcpy(&block, bytes, sizeof block);
  return block;
}

/// The block's first and last word, with bits set in its special bytes only.
template <Solidus solidus, typename Block>
auto markSpecial(Block block) {
  auto marked = (block == '"') | (block == '\\') | (block < 0x20);
  if constexpr (solidus == Solidus::special) {
    marked |= block == '/';
  }
  // Not cast to an array, which g++ 12 does through memory.
  using Words [[gnu::vector_size(sizeof(Block))]] = std::uint64_t;
  const auto words = std::bit_cast<Words>(marked);
  return std::pair(words[0], words[sizeof(Block) / 8 - 1]);
}

/// Calls `use` with each block of [begin, end) and its offset until one of them holds a special
/// character, and returns the place of that character, or `end`. There must be at least one block.
template <Solidus solidus, typename Block, typename Use>
const char* findInBlocks(const char* begin, const char* end, Use use) {
  const auto findFrom = [=](const char* from) -> const char* {
    const auto block = load<Block>(from);
    use(block, from - begin);
    const auto [front, back] = markSpecial<solidus>(block);
    if (front != 0) {
      return from + std::countr_zero(front) / 8;
    }
    return back != 0 ? from + sizeOf<Block> - 8 + std::countr_zero(back) / 8 : nullptr;
  };
  const char* const last = end - sizeOf<Block>;
  for (const char* from = begin; from < last; from += sizeOf<Block>) {
    if (const char* const found = findFrom(from); found != nullptr) {
      return found;
    }
  }
  // The last bytes may be less than a block: look at the block that ends with them. Its other bytes
  // are known to be plain.
  const char* const found = findFrom(last);
  return found != nullptr ? found : end;
}

/// The same for any number of bytes; those that fill no block are used one by one.
template <Solidus solidus, typename Use>
const char* find(const char* begin, const char* end, Use use) {
  if (end - begin >= sizeOf<WholeBlock>) {
    return findInBlocks<solidus, WholeBlock>(begin, end, use);
  }
  if (end - begin >= sizeOf<HalfBlock>) {
    return findInBlocks<solidus, HalfBlock>(begin, end, use);
  }
  const char* from = begin;
  for (; from != end && !isSpecial<solidus>(*from); ++from) {
    use(*from, from - begin);
  }
  return from;
}

}  // namespace scan

/// The first special character in [begin, end), or `end`.
template <Solidus solidus>
const char* findSpecial(const char* begin, const char* end) {
  return scan::find<solidus>(begin, end, [](auto /*bytes*/, std::ptrdiff_t /*offset*/) {});
}

/// Copies [begin, end) up to the first special character and returns the place of that character,
/// or `end`. The memory at `to` must have room for all of it; what is not copied may be
/// overwritten.
template <Solidus solidus>
const char* copyPlain(const char* begin, const char* end, char* to) {
  return scan::find<solidus>(begin, end, [to](auto bytes, std::ptrdiff_t offset) {
    std::memcpy(to + offset, &bytes, sizeof bytes);
  });
}

}  // namespace ferncrest
