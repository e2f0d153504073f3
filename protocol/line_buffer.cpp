#include "protocol/line_buffer.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "platform/system.h"
#include "text/characters.h"
#include "text/utf8.h"

namespace ferncrest {

std::span<char> LineBuffer::room() {
  // Moves no more bytes than have become lines since the last move, so all moves together take
  // linear time.
  if (end_ - begin_ <= begin_) {
    moveToFront();
  }
  if (end_ + 1 == buffer_.capacity()) {
    buffer_.resize(2 * buffer_.capacity());
  }
  // One byte stays free for the line feed of a last line that has none.
  return {buffer_.data() + end_, buffer_.capacity() - 1 - end_};
}

void LineBuffer::add(std::size_t count) {
  end_ += count;
  ended_ = count == 0;
  // All lines at once, which is faster than one after the other.
  validate();
}

void LineBuffer::append(std::string_view bytes) {
  while (!bytes.empty()) {
    const auto to = room();
    const std::size_t count = bytes.copy(to.data(), to.size());
    add(count);
    bytes.remove_prefix(count);
  }
}

std::optional<MessageLine> LineBuffer::next() {
  repaired_.reset();
  while (const auto line = nextRawLine()) {
    if (const std::string_view text = trimmed(*line); !text.empty()) {
      return terminate(text);
    }
  }
  return std::nullopt;
}

bool LineBuffer::holdsSpareMemory() const {
  // Not as soon as half would do: a buffer that shrinks in the middle of each long line is slow.
  return buffer_.capacity() > usualCapacity && end_ - begin_ < buffer_.capacity() / 32;
}

void LineBuffer::releaseSpareMemory() {
  if (holdsSpareMemory()) {
    moveToFront();
    buffer_.resize(std::max(usualCapacity, std::bit_ceil(2 * end_)));
    releaseFreeMemory();
  }
}

std::optional<std::string_view> LineBuffer::nextRawLine() {
  const std::string_view unsearched(buffer_.data() + searched_, end_ - searched_);
  const std::size_t lineFeed = unsearched.find('\n');
  if (lineFeed == std::string_view::npos && (!ended_ || begin_ == end_)) {
    searched_ = end_;
    return std::nullopt;
  }
  const bool isWhole = lineFeed != std::string_view::npos;
  const std::size_t lineEnd = isWhole ? searched_ + lineFeed : end_;
  const std::string_view line(buffer_.data() + begin_, lineEnd - begin_);
  begin_ = searched_ = isWhole ? lineEnd + 1 : end_;
  return line;
}

// Writes the line feed over the byte behind the text: white space that was trimmed, or the byte
// that room() keeps free behind the input.
MessageLine LineBuffer::terminate(std::string_view text) {
  if (valid_ < begin_) {
    return repair(text);
  }
  char* const begin = buffer_.data() + (text.data() - buffer_.data());
  begin[text.size()] = '\n';
  return {{begin, text.size() + 1}};
}

// The check has stopped at a byte of this line that is not valid. It goes on behind the line.
MessageLine LineBuffer::repair(std::string_view text) {
  valid_ = begin_;
  validate();
  repaired_ = repairedUtf8(text);
  *repaired_ += '\n';
  return {*repaired_};
}

// Goes on from valid_ to the next byte that is not valid, or not yet.
void LineBuffer::validate() {
  valid_ += wellFormedLength({buffer_.data() + valid_, end_ - valid_});
}

void LineBuffer::moveToFront() {
  std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
  searched_ -= begin_;
  valid_ -= begin_;
  end_ -= begin_;
  begin_ = 0;
}

}  // namespace ferncrest
