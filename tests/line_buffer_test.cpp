#include "protocol/line_buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "plain_lines.h"

namespace ferncrest::testing {
namespace {

using Lines = std::vector<std::string>;

void takeLines(LineBuffer& buffer, Lines& lines) {
  while (const auto line = buffer.next()) {
    EXPECT_TRUE(line->terminated.ends_with('\n'));
    lines.emplace_back(line->text());
  }
}

// Adds `input` in blocks of random length, as far as the room goes, and takes what lines there are.
void expectLines(std::string_view input, std::size_t longestBlock) {
  const Lines expected = plainlyCut(input);
  std::mt19937 random(11);
  LineBuffer buffer;
  Lines lines;
  while (!input.empty()) {
    const auto room = buffer.room();
    const std::size_t count = std::min({1 + random() % longestBlock, room.size(), input.size()});
    std::memcpy(room.data(), input.data(), count);
    buffer.add(count);
    input.remove_prefix(count);
    takeLines(buffer, lines);
    if (count % 2 == 0) {
      buffer.releaseSpareMemory();
    }
  }
  EXPECT_FALSE(buffer.hasEnded());
  buffer.add(0);
  EXPECT_TRUE(buffer.hasEnded());
  takeLines(buffer, lines);
  EXPECT_EQ(lines, expected);
}

TEST(LineBuffer, cutsLinesOfEveryLengthAroundItsSize) {
  for (std::size_t length = (128U << 10U) - 3; length <= (128U << 10U) + 2; ++length) {
    const std::string line(length, 'x');
    for (const std::string& input : {line, line + "\xFF", line + "\n", "a\n" + line + "\nb\n",
                                     line + " \na\n" + line + line}) {
      expectLines(input, 300'000);
    }
  }
}

TEST(LineBuffer, goesOnWithSmallLinesAfterAHugeOne) {
  std::string input(std::size_t{5} << 20U, 'x');
  input += '\n';
  for (int count = 0; count < 20'000; ++count) {
    input += count == 10'000 ? std::string(300'000, 'y') : std::to_string(count) + "\n";
  }
  expectLines(input, 20'000);
}

TEST(LineBuffer, holdsTheMemoryOfALongLineNoLongerThanAsked) {
  LineBuffer buffer;
  const std::size_t usual = buffer.room().size();
  buffer.append(std::string(std::size_t{5} << 20U, 'x') + "\nrest");
  EXPECT_FALSE(buffer.holdsSpareMemory());
  EXPECT_TRUE(buffer.next());
  EXPECT_TRUE(buffer.holdsSpareMemory());
  buffer.releaseSpareMemory();
  EXPECT_FALSE(buffer.holdsSpareMemory());
  EXPECT_EQ(buffer.room().size(), usual - 4);
  buffer.append("\n");
  EXPECT_EQ(buffer.next()->text(), "rest");
}

}  // namespace
}  // namespace ferncrest::testing
