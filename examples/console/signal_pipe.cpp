#include "examples/console/signal_pipe.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

namespace ferncrest {

namespace {

int writeEnd = -1;  // never closed: a signal may arrive at any time

void noteSignal(int signal) {
  const int savedErrorNumber = errno;
  const auto byte = static_cast<unsigned char>(signal);
  // The pipe is full only if thousands of signals are waiting; this one is dropped then.
  [[maybe_unused]] const ssize_t written = ::write(writeEnd, &byte, 1);
  errno = savedErrorNumber;
}

}  // namespace

std::expected<Fd, Failure> openSignalPipe(std::initializer_list<int> signals) {
  std::array<int, 2> fds{};
  if (::pipe(fds.data()) != 0) {
    return std::unexpected(systemFailure(errno));
  }
  for (const int fd : fds) {
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    ::fcntl(fd, F_SETFL, O_NONBLOCK);
  }
  writeEnd = fds[1];
  struct sigaction action{};
  action.sa_handler = noteSignal;
  action.sa_flags = SA_RESTART;
  for (const int signal : signals) {
    ::sigaction(signal, &action, nullptr);
  }
  return Fd(fds[0]);
}

std::optional<int> takeSignal(int signalPipe) {
  unsigned char byte = 0;
  return ::read(signalPipe, &byte, 1) == 1 ? std::optional<int>(byte) : std::nullopt;
}

}  // namespace ferncrest
