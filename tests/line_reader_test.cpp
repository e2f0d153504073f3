#include "protocol/line_reader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "plain_lines.h"
#include "platform/fd.h"
#include "platform/io.h"

namespace ferncrest::testing {
namespace {

using Lines = std::vector<std::string>;

void waitUntilRead(int fd) {
  int unread = 0;
  while (::ioctl(fd, FIONREAD, &unread) == 0 && unread > 0) {
    std::this_thread::yield();
  }
}

// Writes `input` in blocks of random length, each only when the one before has been read.
void feed(int writeEnd, int readEnd, std::string_view input, std::size_t longestBlock) {
  std::mt19937 random(11);
  while (!input.empty()) {
    const std::string_view block = input.substr(0, 1 + random() % longestBlock);
    EXPECT_TRUE(writeAll(writeEnd, block));
    waitUntilRead(readEnd);
    input.remove_prefix(block.size());
  }
}

void expectLines(const std::string& input, std::size_t longestBlock, int flags = 0) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const Fd readEnd(ends[0]);
  Fd writeEnd(ends[1]);
  ASSERT_EQ(::fcntl(readEnd.get(), F_SETFL, flags), 0);
  std::thread writer([&] {
    feed(writeEnd.get(), readEnd.get(), input, longestBlock);
    writeEnd.reset();
  });
  Lines lines;
  LineReader reader(readEnd.get());
  while (const auto line = reader.next()) {
    EXPECT_TRUE(line->terminated.ends_with('\n'));
    lines.emplace_back(line->text());
  }
  writer.join();
  EXPECT_EQ(lines, plainlyCut(input));
}

TEST(LineReader, findsTheSameLinesHoweverTheInputIsCut) {
  const std::string pieces[] = {
      "\n", "\n",   "\r\n", " \t",      "\v",   "\u00A0", "\u2028",     "a",
      "{}", "\x85", "\xC2", "\xE2\x80", "\xFF", "\u00E9", "\U0001F600", std::string(1, '\0')};
  std::mt19937 random(7);
  for (std::size_t count = 0; count < 400; ++count) {
    std::string input;
    for (std::size_t length = random() % 30; length > 0; --length) {
      input += pieces[random() % std::size(pieces)];
    }
    expectLines(input, 1 + count % 9, count % 2 == 0 ? 0 : O_NONBLOCK);
  }
}

TEST(LineReader, readsLinesOfEveryLengthAroundTheSizeOfItsBuffer) {
  for (std::size_t length = (128U << 10U) - 3; length <= (128U << 10U) + 2; ++length) {
    const std::string line(length, 'x');
    for (const std::string& input : {line, line + "\xFF", line + "\n", "a\n" + line + "\nb\n",
                                     line + " \na\n" + line + line}) {
      expectLines(input, 300'000);
    }
  }
}

TEST(LineReader, goesOnWithSmallLinesAfterAHugeOne) {
  std::string input(std::size_t{5} << 20U, 'x');
  input += '\n';
  for (int count = 0; count < 20'000; ++count) {
    input += count == 10'000 ? std::string(300'000, 'y') : std::to_string(count) + "\n";
  }
  expectLines(input, 20'000);
}

TEST(LineReader, endsWhereReadingFails) {
  const Fd directory(::open("/", O_RDONLY | O_CLOEXEC));
  for (const int fd : {directory.get(), -1}) {
    LineReader reader(fd);
    EXPECT_FALSE(reader.next());
    EXPECT_FALSE(reader.next());
  }
}

}  // namespace
}  // namespace ferncrest::testing
