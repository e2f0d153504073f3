#include "platform/fd.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <initializer_list>

#include "platform/system.h"

namespace ferncrest {

void reserveStandardStreams() {
  for (const int fd : {standardInput, standardOutput, standardError}) {
    if (::fcntl(fd, F_GETFD) >= 0) {
      continue;
    }
    // open() takes the lowest free number, which is this one. Read-only, so that a write fails. In
    // a sandbox without /dev/null the root directory serves as well.
    if (::open("/dev/null", O_RDONLY) < 0) {
      ::open("/", O_RDONLY);
    }
  }
}

void ignoreBrokenPipeSignal() {
  std::signal(SIGPIPE, SIG_IGN);
}

void Fd::reset() {
  // Never retried after EINTR: on some systems the number is free by then and may be in use again.
  if (isOpen()) {
    ::close(std::exchange(fd_, -1));
  }
}

std::expected<Pipe, Failure> makePipe() {
  int readEnd = -1;
  int writeEnd = -1;
  if (openPipe(readEnd, writeEnd) != 0) {
    return std::unexpected(systemFailure(errno));
  }
  return Pipe{Fd(readEnd), Fd(writeEnd)};
}

}  // namespace ferncrest
