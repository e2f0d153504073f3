#include "platform/io.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

namespace ferncrest {

namespace {

enum class Next { tryAgain, giveUp };

// What to do about a failed read or write, after waiting where waiting helps.
Next afterError(int errorNumber, int fd, short event) {
  if (errorNumber == EINTR) {
    return Next::tryAgain;
  }
  if (errorNumber != EAGAIN && errorNumber != EWOULDBLOCK) {
    return Next::giveUp;
  }
  pollfd waiting{.fd = fd, .events = event, .revents = 0};
  const bool waited = ::poll(&waiting, 1, -1) >= 0 || errno == EINTR;
  return waited ? Next::tryAgain : Next::giveUp;
}

}  // namespace

std::expected<std::size_t, Failure> readSome(int fd, std::span<char> buffer) {
  for (;;) {
    const ssize_t count = ::read(fd, buffer.data(), buffer.size());
    if (count >= 0) {
      return static_cast<std::size_t>(count);
    }
    const int errorNumber = errno;
    if (afterError(errorNumber, fd, POLLIN) == Next::giveUp) {
      return std::unexpected(systemFailure(errorNumber));
    }
  }
}

Outcome writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(fd, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
      continue;
    }
    const int errorNumber = errno;
    if (afterError(errorNumber, fd, POLLOUT) == Next::giveUp) {
      return std::unexpected(systemFailure(errorNumber));
    }
  }
  return {};
}

bool isReadable(int fd) {
  pollfd waiting{.fd = fd, .events = POLLIN, .revents = 0};
  return ::poll(&waiting, 1, 0) > 0;
}

}  // namespace ferncrest
