#include "protocol/line_reader.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/io.h"
#include "require.h"
#include "tests/plain_lines.h"

// Any bytes, cut into any blocks, give the lines that a plain cut of the whole gives.

namespace ferncrest {

namespace {

// What is still to come, block by block.
std::vector<std::string> blocks;  // NOLINT(cert-err58-cpp)
std::size_t nextBlock = 0;

}  // namespace

// In place of the system's: the next block, as far as it fits.
std::expected<std::size_t, Failure> readSome(int /*fd*/, std::span<char> buffer) {
  fuzz::require(!buffer.empty(), "there is room for what is read");
  if (nextBlock == blocks.size()) {
    return 0;
  }
  std::string& block = blocks[nextBlock];
  const std::size_t count = std::min(block.size(), buffer.size());
  std::copy_n(block.begin(), count, buffer.begin());
  block.erase(0, count);
  nextBlock += block.empty() ? 1 : 0;
  return count;
}

bool isReadable(int /*fd*/) {
  return nextBlock < blocks.size() && blocks[nextBlock].size() % 2 == 0;
}

namespace fuzz {

namespace {

// Enough to make the reader's buffer grow twice.
constexpr std::size_t longestInput = 400'000;

// A count stands before as many bytes; the few highest ones make a long run of a letter.
void cutIntoBlocks(std::string_view input) {
  constexpr std::size_t highestCount = 250;
  blocks.clear();
  nextBlock = 0;
  for (std::size_t total = 0; input.size() > 1 && total < longestInput;) {
    const std::size_t count = static_cast<std::uint8_t>(input.front());
    input.remove_prefix(1);
    if (count > highestCount) {
      blocks.emplace_back((count - highestCount) * 32'767, 'x');
    } else if (count > 0) {
      blocks.emplace_back(input.substr(0, count));
      input.remove_prefix(blocks.back().size());
    }
    total += blocks.empty() ? 0 : blocks.back().size();
  }
}

void check(std::string_view input) {
  cutIntoBlocks(input);
  std::string whole;
  for (const std::string& block : blocks) {
    whole += block;
  }
  LineReader reader(0);
  for (const std::string& expected : testing::plainlyCut(whole)) {
    const auto line = reader.next();
    require(line && line->text() == expected, "the same line");
    require(line->terminated.back() == '\n', "ended by a line feed");
  }
  require(!reader.next() && !reader.next(), "no more lines");
}

}  // namespace

}  // namespace fuzz

}  // namespace ferncrest

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  ferncrest::fuzz::check({reinterpret_cast<const char*>(bytes), size});
  return 0;
}
