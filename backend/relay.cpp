#include "backend/relay.h"

#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>

#include "platform/io.h"
#include "platform/system.h"

namespace ferncrest {

namespace {

// The capacity of a pipe from the backend. Moving 64 KiB at a time took twice the processor time.
constexpr std::size_t mostMoved = std::size_t{256} << 10U;

// The number of unread bytes in the pipe; where ioctl fails, the capacity, which is the most there
// can be.
std::size_t bytesIn(int pipe) {
  int count = 0;
  return ::ioctl(pipe, FIONREAD, &count) == 0 ? static_cast<std::size_t>(std::max(count, 0))
                                              : mostMoved;
}

}  // namespace

void Relay::limit() {
  if (source_.isOpen()) {
    const std::size_t held = bytesIn(source_.get());
    rest_ = std::min(held, rest_.value_or(held));
    take(0);
  }
}

void Relay::append(std::string_view lines) {
  if (destination_.isOpenForWriting()) {
    lines_ += lines;
  }
}

bool Relay::isDone() const {
  return !source_.isOpen() && chunk_.empty() && lines_.empty();
}

pollfd Relay::need() const {
  if (isDone() || isHeldBack_) {
    return {.fd = -1, .events = 0, .revents = 0};
  }
  if (chunk_.empty() && source_.isOpen() && awaited_ == End::source) {
    return {.fd = source_.get(), .events = POLLIN, .revents = 0};
  }
  return {.fd = destination_.fd(), .events = POLLOUT, .revents = 0};
}

void Relay::step() {
  if (chunk_.empty() && source_.isOpen()) {
    relayChunk();
  }
  if (!chunk_.empty()) {
    writeChunk();
  } else if (!source_.isOpen() && !lines_.empty()) {
    writeLine();
  }
}

std::size_t Relay::outstanding() {
  if (isDone()) {
    return 0;
  }
  const std::size_t inSource = source_.isOpen() ? rest_.value_or(0) : 0;
  return inSource + chunk_.size() + lines_.size() + destination_.unread();
}

void Relay::relayChunk() {
  if (!movesInSystem_ || !moveChunk()) {
    readChunk();
  }
}

// Returns false when the bytes have to go through the buffer. That includes a failed splice, which
// leaves the bytes in the pipe.
bool Relay::moveChunk() {
  const std::ptrdiff_t moved =
      destination_.moveFrom(source_.get(), std::min(rest_.value_or(mostMoved), mostMoved));
  if (moved == 0) {
    source_.reset();
  } else if (moved > 0) {
    take(static_cast<std::size_t>(moved));
    // That fills a pipe of the default capacity, so the next move would find it full.
    awaited_ = static_cast<std::size_t>(moved) >= chunkSize ? End::destination : awaited_;
  } else if (moved == -EAGAIN) {
    // EAGAIN does not tell which end was not ready. The end that was waited for was ready, so wait
    // for the other one.
    awaited_ = awaited_ == End::source ? End::destination : End::source;
  }
  movesInSystem_ = moved != -EINVAL;
  return moved >= 0 || moved == -EAGAIN || moved == -EINTR;
}

void Relay::readChunk() {
  const std::ptrdiff_t count =
      readNow(source_.get(), buffer_.data(), std::min(rest_.value_or(chunkSize), chunkSize));
  if (count > 0) {
    chunk_ = {buffer_.data(), static_cast<std::size_t>(count)};
    take(chunk_.size());
  } else if (count == -EAGAIN || count == -EINTR) {
    awaited_ = End::source;
  } else {
    source_.reset();
  }
}

void Relay::writeChunk() {
  const std::size_t done = bytesDone(destination_.writeSome(chunk_), chunk_.size());
  chunk_.remove_prefix(done);
}

void Relay::writeLine() {
  const std::size_t size = std::min(lines_.find('\n'), lines_.size() - 1) + 1;
  lines_.erase(0,
               bytesDone(destination_.writeLine(std::string_view(lines_).substr(0, size)), size));
}

// How many of `size` bytes need no further write after one that gave `count`. After a failure that
// is all of them: they are dropped.
std::size_t Relay::bytesDone(std::ptrdiff_t count, std::size_t size) {
  // If poll reports room although the write found none, waiting with poll would spin.
  isHeldBack_ = count == -EAGAIN && isWritable(destination_.fd());
  if (count >= 0) {
    return static_cast<std::size_t>(count);
  }
  return count == -EAGAIN || count == -EINTR ? 0 : size;
}

// After limit() the source gets no more bytes that count. So it has ended when there is nothing to
// read, even if rest_ is too high because the number of unread bytes was not known.
void Relay::take(std::size_t count) {
  if (rest_) {
    *rest_ -= std::min(count, *rest_);
    if (*rest_ == 0 || !isReadable(source_.get())) {
      source_.reset();
    }
  }
}

}  // namespace ferncrest
