#include "platform/io.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace ferncrest {

namespace {

// Whether to try a read or write again that failed with `errorNumber`. After EAGAIN this waits
// until `fd` is ready.
bool isWorthRetrying(int errorNumber, int fd, short event) {
  if (errorNumber == EINTR) {
    return true;
  }
  if (errorNumber != EAGAIN && errorNumber != EWOULDBLOCK) {
    return false;
  }
  pollfd waiting{.fd = fd, .events = event, .revents = 0};
  return ::poll(&waiting, 1, -1) >= 0 || errno == EINTR;
}

// What poll reports now; 0 when it reports nothing.
short polledNow(int fd, short event) {
  pollfd waiting{.fd = fd, .events = event, .revents = 0};
  return ::poll(&waiting, 1, 0) > 0 ? waiting.revents : short{0};
}

}  // namespace

std::expected<std::size_t, Failure> readSome(int fd, std::span<char> buffer) {
  for (;;) {
    const ssize_t count = ::read(fd, buffer.data(), std::min(buffer.size(), mostAtOnce));
    if (count >= 0) {
      return static_cast<std::size_t>(count);
    }
    const int errorNumber = errno;
    if (!isWorthRetrying(errorNumber, fd, POLLIN)) {
      return std::unexpected(systemFailure(errorNumber));
    }
  }
}

Outcome writeRest(int fd, std::string_view bytes, std::ptrdiff_t count) {
  for (;;) {
    if (count == -EAGAIN && isHungUp(fd)) {
      count = -EIO;
    }
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (!isWorthRetrying(static_cast<int>(-count), fd, POLLOUT)) {
      return std::unexpected(systemFailure(static_cast<int>(-count)));
    }
    if (bytes.empty()) {
      return {};
    }
    count = writeSome(fd, bytes);
  }
}

bool isReadable(int fd) {
  return polledNow(fd, POLLIN) != 0;
}

bool isWritable(int fd) {
  return polledNow(fd, POLLOUT) != 0;
}

bool isHungUp(int fd) {
  // Any other stream reports an error or room together with a hang-up.
  return polledNow(fd, POLLOUT) == POLLHUP;
}

}  // namespace ferncrest
