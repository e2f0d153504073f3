#include "protocol/line_buffer.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "require.h"
#include "text/characters.h"
#include "text/utf8.h"

// For any bytes, read in any blocks: LineBuffer gives the same lines as a simple implementation
// does for the whole input.

namespace ferncrest::fuzz {

namespace {

// Long enough that the buffer grows twice.
constexpr std::size_t longestInput = 400'000;

// The lines that LineBuffer must give for this input, computed in the simplest way.
std::vector<std::string> linesOf(std::string_view input) {
  std::vector<std::string> lines;
  while (!input.empty()) {
    const std::size_t end = std::min(input.find('\n'), input.size());
    const std::string repaired = repairedUtf8(input.substr(0, end));
    if (const std::string_view text = trimmed(repaired); !text.empty()) {
      lines.emplace_back(text);
    }
    input.remove_prefix(std::min(end + 1, input.size()));
  }
  return lines;
}

// The input is a sequence of blocks, each a count followed by that many bytes. The highest count
// stands for a long run of one letter instead; no other does, because long runs are slow.
std::vector<std::string> blocksIn(std::string_view input) {
  constexpr std::size_t longRun = 255;
  std::vector<std::string> blocks;
  for (std::size_t total = 0; input.size() > 1 && total < longestInput;) {
    const std::size_t count = static_cast<std::uint8_t>(input.front());
    input.remove_prefix(1);
    if (count == longRun) {
      blocks.emplace_back(longestInput / 3, 'x');
    } else if (count > 0) {
      blocks.emplace_back(input.substr(0, count));
      input.remove_prefix(blocks.back().size());
    }
    total += blocks.empty() ? 0 : blocks.back().size();
  }
  return blocks;
}

class Reader {
 public:
  explicit Reader(const std::vector<std::string>& blocks) : blocks_(blocks) {}

  // The next line; adds as many blocks as it needs.
  std::optional<MessageLine> next() {
    for (;;) {
      if (const auto line = buffer_.next()) {
        return line;
      }
      if (buffer_.hasEnded()) {
        return std::nullopt;
      }
      addSome();
    }
  }

 private:
  void addSome() {
    if (block_ == blocks_.size()) {
      return buffer_.add(0);
    }
    const std::string& block = blocks_[block_];
    if (block.size() % 2 != 0) {
      buffer_.releaseSpareMemory();
    }
    const auto room = buffer_.room();
    require(!room.empty(), "there is room for what is read");
    const std::size_t count = std::min(block.size() - taken_, room.size());
    std::memcpy(room.data(), block.data() + taken_, count);
    buffer_.add(count);
    taken_ += count;
    if (taken_ == block.size()) {
      taken_ = 0;
      ++block_;
    }
  }

  const std::vector<std::string>& blocks_;
  std::size_t block_ = 0;
  std::size_t taken_ = 0;  // bytes of that block already added
  LineBuffer buffer_;
};

void check(std::string_view input) {
  const std::vector<std::string> blocks = blocksIn(input);
  std::string whole;
  for (const std::string& block : blocks) {
    whole += block;
  }
  Reader reader(blocks);
  for (const std::string& expected : linesOf(whole)) {
    const auto line = reader.next();
    require(line && line->text() == expected, "the same line");
    require(line->terminated.back() == '\n', "ended by a line feed");
  }
  require(!reader.next() && !reader.next(), "no more lines");
}

}  // namespace

}  // namespace ferncrest::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  ferncrest::fuzz::check({reinterpret_cast<const char*>(bytes), size});
  return 0;
}
