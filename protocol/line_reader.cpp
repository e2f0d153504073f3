#include "protocol/line_reader.h"

#include <cstring>

#include "platform/io.h"
#include "platform/system.h"
#include "text/trimmed.h"
#include "text/utf8.h"

namespace ferncrest {

std::optional<MessageLine> LineReader::next() {
  std::string().swap(repaired_);  // an assignment would keep its memory
  while (const auto line = nextRawLine()) {
    if (const std::string_view text = trimmed(*line); !text.empty()) {
      return terminate(text);
    }
  }
  return std::nullopt;
}

std::optional<std::string_view> LineReader::nextRawLine() {
  for (;;) {
    const std::string_view unsearched(buffer_.data() + searched_, end_ - searched_);
    const std::size_t lineFeed = unsearched.find('\n');
    if (lineFeed != std::string_view::npos) {
      const std::size_t lineEnd = searched_ + lineFeed;
      const std::string_view line(buffer_.data() + begin_, lineEnd - begin_);
      begin_ = searched_ = lineEnd + 1;
      return line;
    }
    searched_ = end_;
    if (!fill()) {
      break;
    }
  }
  if (begin_ == end_) {
    return std::nullopt;
  }
  const std::string_view line(buffer_.data() + begin_, end_ - begin_);
  begin_ = searched_ = end_;
  return line;
}

// The line feed takes the place of a byte behind the text that was white space, or that lies past
// the end of input, where the buffer keeps one byte free.
MessageLine LineReader::terminate(std::string_view text) {
  if (!isValidUtf8(text)) {
    repaired_ = repairedUtf8(text);
    repaired_ += '\n';
    return {repaired_};
  }
  char* const begin = buffer_.data() + (text.data() - buffer_.data());
  begin[text.size()] = '\n';
  return {{begin, text.size() + 1}};
}

// Reads more behind what is there; false at the end of input.
bool LineReader::fill() {
  if (ended_) {
    return false;
  }
  makeRoom();
  const auto count = readSome(fd_, {buffer_.data() + end_, buffer_.capacity() - 1 - end_});
  ended_ = !count || *count == 0;
  if (!ended_) {
    end_ += *count;
  }
  return !ended_;
}

void LineReader::makeRoom() {
  const std::size_t held = end_ - begin_;
  // Moves no more bytes than were given out since the last move, so the cost stays linear.
  if (held <= begin_) {
    std::memcpy(buffer_.data(), buffer_.data() + begin_, held);
    searched_ -= begin_;
    begin_ = 0;
    end_ = held;
  }
  if (end_ + 1 == buffer_.capacity()) {
    buffer_.resize(2 * buffer_.capacity());
  }
  // A long line's memory goes back before the wait for the next one.
  if (buffer_.capacity() > usualCapacity && begin_ == 0 && end_ < usualCapacity / 2 &&
      !isReadable(fd_)) {
    buffer_.resize(usualCapacity);
    releaseFreeMemory();
  }
}

}  // namespace ferncrest
