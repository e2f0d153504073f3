#include "platform/output_stream.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <thread>

#include "platform/io.h"
#include "platform/system.h"

namespace ferncrest {

using Clock = std::chrono::steady_clock;

namespace {

// Whether the stream takes a few bytes, or fails, without a wait before the deadline.
bool isReady(int fd, Clock::time_point deadline) {
  int ready = 0;
  do {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd waiting{.fd = fd, .events = POLLOUT, .revents = 0};
    ready = ::poll(&waiting, 1, std::max(static_cast<int>(left.count()), 0));
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}

}  // namespace

Outcome OutputStream::Turn::write(std::string_view bytes) const {
  return writeAll(fd_, bytes);
}

std::ptrdiff_t OutputStream::Turn::moveFrom(int pipe, std::size_t most) const {
  return moveBytes(pipe, fd_, most);
}

void OutputStream::offer(std::string_view bytes, std::chrono::milliseconds patience) {
  const auto deadline = Clock::now() + patience;
  std::unique_lock lock(mutex_, std::try_to_lock);
  // Looked for again and again: whoever holds the turn waits for the host too, so it is rare.
  while (!lock.owns_lock() && Clock::now() < deadline) {
    std::this_thread::sleep_for(patience / 100);
    static_cast<void>(lock.try_lock());
  }
  while (lock.owns_lock() && !bytes.empty() && isReady(fd_, deadline)) {
    // A ready pipe takes this much at once; more could wait for ever.
    const std::size_t block = std::min(bytes.size(), std::size_t{PIPE_BUF});
    const ssize_t count = ::write(fd_, bytes.data(), block);
    if (count < 0 && errno != EINTR && errno != EAGAIN) {
      return;
    }
    bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  }
}

}  // namespace ferncrest
