#include "platform/standard_streams.h"

#include <fcntl.h>

#include <csignal>
#include <initializer_list>

namespace ferncrest {

void reserveStandardStreams() {
  for (const int fd : {standardInput, standardOutput, standardError}) {
    if (::fcntl(fd, F_GETFD) >= 0) {
      continue;
    }
    // The lowest free number is this one. Read-only on purpose: end of input when read, an error
    // when written. The root directory does the same where there is no null device.
    if (::open("/dev/null", O_RDONLY) < 0) {
      ::open("/", O_RDONLY);
    }
  }
}

void ignoreBrokenPipeSignal() {
  std::signal(SIGPIPE, SIG_IGN);
}

}  // namespace ferncrest
