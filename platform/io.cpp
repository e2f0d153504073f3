#include "platform/io.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/system.h"

namespace ferncrest {

namespace {

constexpr int nothing = -1;

enum class Next { tryAgain, giveUp };

// What to do about a failed read or write, after waiting where waiting helps; `giveUp` ends the
// wait when it becomes readable, and is no descriptor (-1) where nothing does.
Next afterError(int errorNumber, int fd, short event, int giveUp) {
  if (errorNumber == EINTR) {
    return Next::tryAgain;
  }
  if (errorNumber != EAGAIN && errorNumber != EWOULDBLOCK) {
    return Next::giveUp;
  }
  std::array<pollfd, 2> waiting{
      {{.fd = fd, .events = event, .revents = 0}, {.fd = giveUp, .events = POLLIN, .revents = 0}}};
  const int ready = ::poll(waiting.data(), waiting.size(), -1);
  const bool isOver = ready < 0 ? errno != EINTR : waiting[1].revents != 0;
  return isOver ? Next::giveUp : Next::tryAgain;
}

}  // namespace

std::expected<std::size_t, Failure> readSome(int fd, std::span<char> buffer) {
  for (;;) {
    const ssize_t count = ::read(fd, buffer.data(), buffer.size());
    if (count >= 0) {
      return static_cast<std::size_t>(count);
    }
    const int errorNumber = errno;
    if (afterError(errorNumber, fd, POLLIN, nothing) == Next::giveUp) {
      return std::unexpected(systemFailure(errorNumber));
    }
  }
}

Outcome writeAll(int fd, std::string_view bytes) {
  return writeAllUnless(nothing, fd, bytes);
}

Outcome writeAllUnless(int giveUp, int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const std::ptrdiff_t count = writeBytes(fd, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
      continue;
    }
    const int errorNumber = errno;
    if (afterError(errorNumber, fd, POLLOUT, giveUp) == Next::giveUp) {
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
